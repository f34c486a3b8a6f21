# Dead devices on a line of 20 with 20 parameters each, rto 200
# shellcheck shell=bash disable=SC2154

# silent DEAD PROBE
silent() {
    spawn "$build/bench_rtu_line" "$work/line" "$1" >"$work/passes"
    local line=$spawned
    sleep 1
    jq -n --argjson broker "$broker" --argjson probe "$2" --arg link "$work/line" '
        {mqtt: {url: "127.0.0.1", port: $broker}, ports: [{name: "line", type: "base.rs", poll_interval: 0, rto: 200,
        rs: {path: $link, baudrate: 115200}, devices: [range(1; 21) as $sid | {name: "d", type: "mb-rtu", sid: $sid,
        silent_probe: $probe, params: [range(20) | {name: "p\(.)", reg_addr: ., value_type: "u16"}]}]}]}' \
        >"$work/silent.json"
    start_daemon silent
    # The first pass, in which they are found dead, isn't of interest.
    await_lines "$work/passes" 1 120
    : >"$work/passes"
    await_lines "$work/passes" "$(counts 3 1)" 180
    row "$1 dead, silent_probe $2" "$(awk '{print $2}' "$work/passes" | median) s a pass of $(
        awk '{print $4}' "$work/passes" | median) requests"
    stop_daemon
    end "$line"
}

for dead in $(counts "1 5 10" 1); do
    for probe in false true; do
        silent "$dead" $probe
    done
done
