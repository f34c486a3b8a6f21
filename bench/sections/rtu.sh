# Modbus RTU on a pseudo-terminal: 200 exchanges a pass beside a bare loop
# shellcheck shell=bash disable=SC2154

spawn "$build/sim_modbus_rtu" --link "$work/line" --address 1 >/dev/null 2>&1
sleep 1
"$build/bench_bare_loop" "$work/line" 0 "$broker" 200 "$(counts 9 3)" >"$work/bare"
bare_wall=$(awk '/^pass/ {print $2}' "$work/bare" | median)
config rtu params=200 interval=1 line=rs log='{"max_size": 100}'
start_daemon rtu
sleep "$(counts 16 10)"
rtu_wall=$(log_times 'начало опроса' | awk '
    NR == 1 {first = $1}
    NR > 1 && $1 - last > 500 {print (last - first) / 1000; first = $1}
    {last = $1}' | median)
stop_daemon
row "bare loop" "$bare_wall s a pass"
row "daemon" "$rtu_wall s a pass, $(calc %.3f "($rtu_wall - $bare_wall) / 200 * 1000") ms added an exchange" \
    "at most 0.5 ms"
