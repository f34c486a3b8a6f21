# Modbus TCP: 1,000 single reads a pass, and the same values as register sets
# shellcheck shell=bash disable=SC2154

passes=$(counts 10 3)
"$build/bench_bare_loop" tcp "$slave" "$broker" 1000 "$passes" >"$work/bare"
bare_cpu=$(awk '/^cpu/ {print $2}' "$work/bare" | median)
bare_wall=$(awk '/^pass/ {print $2}' "$work/bare" | median)
row "bare loop" "$bare_cpu us CPU a value, $bare_wall s a pass"

modbus_tcp() {
    local single_cpu single_wall rest set_wall
    config single
    start_daemon single
    measure "$daemon" "$passes"
    single_cpu=$cpu single_wall=$wall
    # What the worker rests between two passes. A set goes on behind its last request, so its pass is the rest of the
    # period.
    rest=$(calc %.6f "$period - $wall")
    row "single reads" "$cpu us CPU a value ($(calc %.2f "$cpu / $bare_cpu") x), $wall s a pass ($(calc %.2f \
        "$wall / $bare_wall") x)" "at most 1.4 x, 1.5 x"
    stop_daemon
    config set sets=true
    start_daemon set
    measure "$daemon" "$passes" 1000
    set_wall=$(calc %.6f "$period - $rest")
    row "register sets" "$cpu us CPU a value ($(calc %.2f "$single_cpu / $cpu") x cheaper), $set_wall s a pass ($(
        calc %.1f "$single_wall / $set_wall") x shorter), of it $wall s for the requests" "5 x shorter"
    stop_daemon
}
each_binary modbus_tcp
