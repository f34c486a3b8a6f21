# Reads that end where the frame ends, at rto 500 on a pseudo-terminal
# shellcheck shell=bash disable=SC2154

rto=500
passes=$(counts 3 1)

# speed WHAT MS READS WANTED: beside the time-outs of that many reads.
speed() {
    row "$1" "$2 ms; $3 x rto: $(($3 * rto)) ms, $(calc %.1f "$3 * $rto / $2") x faster" "$4"
}

# value_time WHAT READS WANTED PARAMS PORT: between the publications of a pass.
value_time() {
    local params=$4
    device_config frames "$5" '{}'
    start_devices frames
    : >"$work/times"
    spawn mosquitto_sub -R -p "$broker" -t '/devices/+/controls/+' -F '%U %t' >"$work/times"
    local listener=$spawned
    start_daemon frames
    await_lines "$work/times" $((params * passes)) $((params * passes * 6 + 30))
    speed "$1" "$(awk -v last="p$((params - 1))" -v n=$((params - 1)) '$2 ~ "/p0$" {begun = $1}
        $2 ~ "/" last "$" && begun {print ($1 - begun) / n * 1000}' "$work/times" | median)" "$2" "$3"
    stop_daemon
    end "$listener"
    end "$devices"
}

# opening: a port for each meter, so that one start opens several sessions.
opening() {
    local meters=5
    jq -n --argjson broker "$broker" --arg work "$work" --argjson meters $meters --argjson rto $rto \
        '{mqtt: {url: "127.0.0.1", port: $broker}, log: {is_debug: true}, ports: [range(10; 10 + $meters) | {name: "m\(.)",
            type: "base.rs", rs: {path: "\($work)/open\(.)"}, rto: $rto, devices: [{name: "m", type: "merc230", sid: .,
            params: [{name: "u", reg_type: "param", bwri: "0x11", value_type: "m1"}]}]}]}' >"$work/open.json"
    start_devices open
    start_daemon open -d -h
    sleep $((meters * 2 + 5))
    speed "Mercury, opening of a session" "$(log_times 'merc2::Start : ' | awk 'NR % 2 {begun = $1; next}
        {spent = $1 - begun; print spent < 1 ? 1 : spent}' | median)" 1 "3 x faster"
    stop_daemon
    end "$devices"
}

each_binary value_time "VKT-7, a value of nine requests" 9 "below 300 ms" 4 "$(jq -n --argjson rto $rto '
    {name: "m", type: "base.rs", poll_interval: 0, rto: $rto, rs: {}, devices: [{name: "m", type: "vkt7-rtu", sid: 1,
    params: [range(4) | {name: "p\(.)", type: "vkt7-rtu", reg_addr: 0}]}]}')"
each_binary value_time "Emera, a value" 1 "3 x faster" 10 "$(jq -n --argjson rto $rto '
    {name: "m", type: "base.rs", poll_interval: 0, rto: $rto, rs: {}, devices: [{name: "m", type: "emera", sid: "12",
    params: [range(10) | {name: "p\(.)", cmd: "U()"}]}]}')"
each_binary value_time "DLMS, a value, with the ordered 100 ms" 1 "3 x faster" 10 "$(
    jq -n --argjson rto $rto '{name: "m", type: "dlms.rs", poll_interval: 0, rto: $rto, rs: {},
    devices: [{name: "m", sn: "AB12345", params: [range(10) |
    {name: "p\(.)", class_id: 3, object_id: "1.0.1.8.0.255", attr_id: 2}]}]}')"
each_binary opening
