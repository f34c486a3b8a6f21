#pragma once

#include <string>

/// Strings that are shared by the whole program. The suffixes are used during static initialisation; as inline
/// variables they stand ready before any registrar that is defined behind this header.

// The program.
inline const std::string program_title = "Универсальный драйвер";
inline const std::string program_version = "2.28";
inline const std::string program_mode = "cross";

// Paths. They are defined in a source of their own (paths.cpp).
extern const std::string path_log_dir;
extern const std::string path_log_name;
extern const std::string path_templates;
extern const std::string path_config_first;
extern const std::string path_config_second;
// The kernel's GPIO lines; the line's number goes in for "%d".
extern const std::string path_gpio_export;
extern const std::string path_gpio_unexport;
extern const std::string path_gpio_direction;
extern const std::string path_gpio_edge;
extern const std::string path_gpio_value;

// Suffixes of the registry keys. Nothing is registered under ".param".
inline const std::string suffix_cport = ".cport";
inline const std::string suffix_cdev = ".cdev";
inline const std::string suffix_cparam = ".cparam";
inline const std::string suffix_port = ".port";
inline const std::string suffix_dev = ".dev";
inline const std::string suffix_param = ".param";

/// Bytes of a client's identity at the broker.
inline constexpr size_t identity_limit = 23;

// Topics. "stat/%s/RESULT" and "/on" are reserved.
inline const std::string topic_value = "/devices/%s/controls/%s";
inline const std::string topic_meta = "/devices/%s/controls/%s/%s";
inline const std::string topic_meta_error = "meta/error";
inline const std::string topic_on = "/devices/%s/controls/%s/on";
inline const std::string topic_bridge_status = "/devices/%s/controls/status";
inline const std::string topic_fault = "/devices/error";
inline const std::string topic_available = "/devices/%s/meta/available";
inline const std::string topic_age = "stat/%s/age";
inline const std::string topic_statistics = "stat/%s/poll";
inline const std::string topic_z2t_sensor = "tele/%s/SENSOR";
inline const std::string topic_z2t_result = "tele/%s/RESULT";
inline const std::string topic_z2t_send = "cmnd/%s/ZbSend";
inline const std::string topic_z2t_stat_result = "stat/%s/RESULT";
inline const std::string topic_on_suffix = "/on";

// GPIO.
inline const std::string gpio_edge_none = "none";
inline const std::string gpio_edge_both = "both";
inline const std::string gpio_edge_rising = "rising";
inline const std::string gpio_edge_falling = "falling";
inline const std::string gpio_suffix_total = "_total";
inline const std::string gpio_suffix_current = "_current";

// Reserved, read by nothing: no function of the program restarts the broker.
inline const std::string reserved_version = "1.54";
inline const std::string reserved_keepalive = "wsock keepalive";
inline const std::string reserved_broker_restart = "/etc/init.d/mosquitto restart";
