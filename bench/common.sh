# shellcheck shell=bash disable=SC2034,SC2154
# What the sections have in common. A section is a script of bench/sections whose first line is its title; it is sourced
# with a broker at $broker and a slave at $slave that tells its passes in $work/passes.

build="build-bench"
binary=$build/ostrand
label=now
log=bench-$$
work=$(mktemp -d)
declare -A pids=()

fail() {
    echo "bench: $*" >&2
    exit 1
}

section_file() { echo "bench/sections/$1.sh"; }
section_names() { find bench/sections -name '*.sh' -printf '%f\n' | sed 's/\.sh$//' | sort; }
title() { sed -n '1s/^# //p' "$(section_file "$1")"; }
list_sections() {
    local name
    for name in $(section_names); do
        printf '%-12s%s\n' "$name" "$(title "$name")"
    done
}

# spawn COMMAND...: in the background, ended with the section at the latest; $spawned is its id.
spawn() {
    "$@" &
    spawned=$!
    pids[$spawned]=1
}

# end PID: at once, nothing needs an orderly end.
end() {
    kill -KILL "$1" 2>/dev/null || true
    wait "$1" 2>/dev/null || true
    unset "pids[$1]"
}

end_section() {
    local pid
    for pid in "${!pids[@]}"; do
        end "$pid"
    done
    rm -rf "${work:?}"/* /var/log/ostrand/"$log".*
}

# shellcheck disable=SC2317 # it is called by the trap
clean_up() {
    end_section
    rm -rf "$work"
}

begin_section() {
    broker=$(free_port)
    printf 'listener %s 127.0.0.1\nallow_anonymous true\n' "$broker" >"$work/broker.conf"
    spawn mosquitto -c "$work/broker.conf" >/dev/null 2>&1
    slave=$(free_port)
    : >"$work/passes"
    spawn "$build/bench_tcp_slave" "$slave" >>"$work/passes"
    sleep 1
}

free_port() {
    local port
    for port in $(shuf -i 20000-60000 -n 50); do
        (exec 3<>"/dev/tcp/127.0.0.1/$port") 2>/dev/null || {
            echo "$port"
            return
        }
    done
}

# counts FULL QUICK: which of them is wanted.
counts() { if [[ $quick == yes ]]; then echo "$2"; else echo "$1"; fi; }

# each_binary FUNCTION...: with this program, and with an older one where OSTRAND_BEFORE names it.
each_binary() {
    label=now binary=$build/ostrand "$@"
    if [[ -n ${OSTRAND_BEFORE:-} ]]; then
        label=before binary=$OSTRAND_BEFORE "$@"
    fi
}

# row WHAT MEASURED [WANTED]
row() {
    local what=$1
    [[ $label == now ]] || what+=" ($label)"
    printf '%s: %s%s\n' "$what" "$2" "${3:+; wanted $3}"
}

median() { sort -n | awk '{v[NR] = $1} END {print NR ? v[int((NR + 1) / 2)] : 0}'; }
highest() { sort -n | tail -1; }
calc() { awk "BEGIN {printf \"$1\", $2}"; }
cpu_us() { cat /proc/"$1"/task/*/schedstat | awk '{s += $1} END {print int(s / 1000)}'; }
rss_kib() { awk '/VmRSS/ {print $2}' /proc/"$1"/status; }
pss_kib() { awk '/^Pss:/ {print $2}' /proc/"$1"/smaps_rollup; }

# config NAME [KEY=VALUE...]: a file of equal ports with a device each.
config() {
    local name=$1 pair
    shift
    local -A with=([ports]=1 [params]=1000 [interval]=0 [line]=tcp [slave]=$slave [sets]=false [converter]=''
        [writable]=false [log]='{}')
    for pair in "$@"; do
        with[${pair%%=*}]=${pair#*=}
    done
    jq -n --argjson ports "${with[ports]}" --argjson params "${with[params]}" --argjson interval "${with[interval]}" \
        --arg line "${with[line]}" --argjson slave "${with[slave]}" --argjson sets "${with[sets]}" \
        --arg converter "${with[converter]}" --argjson writable "${with[writable]}" --argjson log "${with[log]}" \
        --argjson broker "$broker" --arg link "$work/line" '
        {mqtt: {url: "127.0.0.1", port: $broker}, log: ({max_size: 5, is_debug: false} + $log),
        ports: [range($ports) as $p | {
            name: "p\($p)", type: "base.\($line)", poll_interval: $interval,
            tcp: {url: "127.0.0.1", port: $slave}, rs: {path: $link, baudrate: 115200},
            devices: [{name: "load\($p)", type: (if $line == "tcp" then "mb-tcp" else "mb-rtu" end),
                sid: 1, all_params: $sets,
                params: [range($params) as $i | {name: "p\($i)", reg_addr: (if $line == "rs" then 0 else $i end),
                    value_type: "u16", read_only: ($writable | not)}
                    + if $converter != "" then {converter_read: $converter} else {} end]}]}]}' >"$work/$name.json"
}

# start_daemon NAME [ARGUMENT...]: $daemon, with the file of that name.
start_daemon() {
    local name=$1
    shift
    spawn "$binary" -c "$work/$name.json" -l "$log.log" "$@" >/dev/null 2>&1
    daemon=$spawned
}

stop_daemon() {
    end "$daemon"
    rm -f /var/log/ostrand/"$log".*
}

# await_lines FILE NUMBER SECONDS: until the file has that many lines more.
await_lines() {
    local wanted end=$((SECONDS + $3))
    wanted=$(($(wc -l <"$1") + $2))
    until (($(wc -l <"$1") >= wanted)); do
        ((SECONDS < end)) || fail "fewer than $2 lines more in $1 within $3 s"
        sleep 0.1
    done
}

# measure PID PASSES [VALUES]: over whole passes of one connection, the worker resting at both ends. Sets cpu (us a
# value), wall and period (s a pass), rate (values a second). VALUES of a pass; by default each request is one.
measure() {
    local before used values
    await_lines "$work/passes" 1 60
    : >"$work/passes"
    before=$(cpu_us "$1")
    await_lines "$work/passes" "$2" $(($2 * 3 + 30))
    used=$(($(cpu_us "$1") - before))
    wall=$(awk '{print $2}' "$work/passes" | median)
    period=$(awk '{print $3}' "$work/passes" | median)
    values=$(awk -v each="${3:-0}" '{s += each ? each : $4} END {print s / NR}' "$work/passes")
    rate=$(calc %.0f "$values / $period")
    cpu=$(calc %.2f "$used / $values / $(wc -l <"$work/passes")")
}

# device_config NAME PORT LOG: one port, of JSON whose rs or tcp gets a place.
device_config() {
    jq -n --argjson broker "$broker" --arg place "$work/line-$1" --argjson free "$(free_port)" --argjson port "$2" \
        --argjson log "$3" '{mqtt: {url: "127.0.0.1", port: $broker}, log: ({is_debug: true} + $log),
          ports: [$port + if $port.tcp then {tcp: {url: "127.0.0.1", port: $free}}
                          else {rs: {path: $place, baudrate: 115200}} end]}' >"$work/$1.json"
}

# start_devices NAME: $devices, those of the file of that name.
start_devices() {
    spawn "$build/ostrandctl" simulate "$work/$1.json" >/dev/null 2>&1
    devices=$spawned
    sleep 1
}

# log_times PATTERN: of the lines that match it, in ms of the day.
log_times() {
    grep -h "$1" /var/log/ostrand/"$log.log" | cut -c12-23 |
        awk -F'[:.]' '{print ($1 * 3600 + $2 * 60 + $3) * 1000 + $4}'
}
