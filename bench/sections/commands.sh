# Commands: from their publication to the frame on the line, while nothing is due
# shellcheck shell=bash disable=SC2154

commands() {
    local port figures
    port=$(free_port)
    config commands slave="$port" params=1 interval=3600 writable=true
    spawn "$build/bench_command_latency" "$port" "$broker" /devices/load0_1/controls/p0/on "$(counts 1000 20)" \
        >"$work/latency"
    local publisher=$spawned
    sleep 1
    start_daemon commands
    wait "$publisher" || fail "bench_command_latency has failed"
    unset "pids[$publisher]"
    stop_daemon
    read -ra figures <"$work/latency"
    row "${figures[2]} commands" "median ${figures[0]} ms, highest ${figures[1]} ms" "below 20 ms, 100 ms"
}
each_binary commands
