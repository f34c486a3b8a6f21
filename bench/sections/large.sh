# A large installation: 100 ports, 10,000 parameters, each polled every 10 s
# shellcheck shell=bash disable=SC2154

# shellcheck disable=SC2317 # it is called by name
large() {
    local ports seconds before used
    ports=$(counts 100 10)
    seconds=$(counts 120 25)
    config large ports="$ports" params=100 interval=10
    start_daemon large
    sleep $((ports + 20)) # a port a second
    : >"$work/passes"
    before=$(cpu_us "$daemon")
    sleep "$seconds"
    used=$(($(cpu_us "$daemon") - before))
    row "polled" "$(awk '{print $5}' "$work/passes" | sort -u | wc -l) of $ports ports, $(awk '$4 != 100' \
        "$work/passes" | wc -l) passes without all of their parameters; period median $(awk '{print $3}' "$work/passes" |
            median) s, longest $(awk '{print $3}' "$work/passes" | highest) s" "all, every 10 s"
    row "longest pass" "$(awk '{print $2}' "$work/passes" | highest) s"
    row "CPU" "$(calc %.2f "$used / 10000 / $seconds") % of a core, $(calc %.1f \
        "$used / $(awk '{s += $4} END {print s}' "$work/passes")") us a value"
    row "memory" "$(rss_kib "$daemon") KiB resident, $(pss_kib "$daemon") KiB of its own"
    stop_daemon
}
each_binary large
