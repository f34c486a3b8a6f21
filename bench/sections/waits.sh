# Exchanges beyond the waits that their protocols order
# shellcheck shell=bash disable=SC2154

# beyond WHAT PORT LINE ORDERED_MS: the mean time between two lines of the log in one pass, less the ordered
# waits.
beyond() {
    local what=$1 port=$2 line=$3 ordered=$4
    device_config waits "$port" '{}'
    start_devices waits
    start_daemon waits
    sleep "$(counts 20 10)"
    row "$what" "$(log_times "$line" | awk -v o="$ordered" 'NR > 1 && $1 - last < 900 {s += $1 - last; n++} {last = $1}
        END {printf "%.2f ms beyond the ordered %d ms", n ? s / n - o : -1, o}')"
    stop_daemon
    end "$devices"
}

beyond "DLMS on a pseudo-terminal, one exchange" "$(jq -n '{name: "m", type: "dlms.rs", poll_interval: 0,
    rto: 50, rs: {}, devices: [{name: "m", sn: "AB12345", params: [range(10) | {name: "p\(.)", class_id: 3,
    object_id: "1.0.1.8.0.255", attr_id: 2}]}]}')" 'начало опроса (new)' 100
beyond "VKT-7 on a pseudo-terminal, a dialogue of nine requests" "$(jq -n '{name: "m", type: "base.rs",
    poll_interval: 0, rto: 20, rs: {}, devices: [{name: "m", type: "vkt7-rtu", sid: 1, params: [range(4) |
    {name: "p\(.)", type: "vkt7-rtu", reg_addr: 0}]}]}')" 'Версия сервера' 0
beyond "Pulsar over TCP, one of 20 parameters of a sweep" "$(jq -n '{name: "pulsar", type: "base.tcp",
    poll_interval: 0, tcp: {}, devices: [{name: "m", type: "pulsar-tcp", type_device: "water_meter", sid: 12345678,
    delay: 10, params: [range(20) | {name: "p\(.)", parameter_number: 2}]}]}')" 'pulsar_tcp::начало опроса' 10
