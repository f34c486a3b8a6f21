#pragma once

#include "ctl/language/phrase.h"

/// A warning, and what it is about.
struct WarningName {
    char const* name;
    Phrase meaning;
};

namespace warn {
inline constexpr char unknown_key[] = "unknown-key";
inline constexpr char idle_key[] = "key-without-effect";
inline constexpr char mqtt_port[] = "mqtt-without-port";
inline constexpr char same_topic[] = "same-topic";
inline constexpr char name_part[] = "name-part-of-name";
inline constexpr char same_line[] = "same-line";
inline constexpr char error_value[] = "error-value-case";
inline constexpr char value_type[] = "value-type";
inline constexpr char register_kind[] = "register-kind";
inline constexpr char not_written[] = "not-writable";
inline constexpr char expression[] = "expression";
inline constexpr char interval[] = "interval";
inline constexpr char alternating[] = "alternating-line";
inline constexpr char personal_line[] = "personal-line";
inline constexpr char number[] = "not-a-number";
inline constexpr char object_id[] = "object-id";
inline constexpr char start[] = "start";
inline constexpr char foreign[] = "foreign-parameter";
inline constexpr char whole_bits[] = "bits-read-as-a-whole";
inline constexpr char twice[] = "key-twice";
inline constexpr char encoding[] = "not-utf-8";
}  // namespace warn

inline constexpr WarningName warning_names[] = {
    {warn::unknown_key, "a key that nothing reads"},
    {warn::idle_key, "a key that has no effect where it stands"},
    {warn::mqtt_port, "mqtt without port: the port is 0 then, not 1883"},
    {warn::same_topic, "two parameters with the same topic"},
    {warn::name_part, "a device's name is part of another's on the port: messages may go to the wrong one"},
    {warn::same_line, "two ports on the same serial line"},
    {warn::error_value, "error_value with lower-case digits matches nothing"},
    {warn::value_type, "a value type that is missing, or that the register can't carry"},
    {warn::register_kind, "a reg_type that is no kind of register: holding is taken"},
    {warn::not_written, "read_only is false, but the parameter can't be written"},
    {warn::expression, "an expression that doesn't compile"},
    {warn::interval, "a pass takes longer than its intervals allow"},
    {warn::alternating, "line settings that alternate between devices: each change opens the line anew"},
    {warn::personal_line, "personal line settings that can't be used"},
    {warn::number, "a text where a number is meant"},
    {warn::object_id, "an object id that can't be translated"},
    {warn::start, "what the port would tell at its start"},
    {warn::foreign, "a parameter of another driver's type, which its device never asks for"},
    {warn::whole_bits, "bits in a device with all_params: the process restarts at each poll"},
    {warn::twice, "a key that stands twice in one object: the last one counts"},
    {warn::encoding, "text in another encoding than UTF-8, which no broker takes in a topic"},
};
