# 1,000 values a second: the daemon, a bare loop and collectd against the same slave and broker
# shellcheck shell=bash disable=SC2154

passes=$(counts 20 3)
spawn "$build/bench_bare_loop" tcp "$slave" "$broker" 1000 1000 >/dev/null
bare=$spawned
measure "$bare" "$passes"
bare_cpu=$cpu
row "bare loop" "$cpu us CPU a value, $rate values a second"
end "$bare"

collectd_cpu=
if collectd=$(command -v collectd || command -v /usr/sbin/collectd); then
    {
        printf '%s\n' 'Hostname "bench"' 'FQDNLookup false' 'Interval 1' "BaseDir \"$work\"" \
            'TypesDB "/usr/share/collectd/types.db"' 'LoadPlugin modbus' 'LoadPlugin mqtt' '<Plugin modbus>'
        for ((register = 0; register < 1000; ++register)); do
            printf '<Data "d%d">\nRegisterBase %d\nType gauge\nInstance "p%d"\n</Data>\n' \
                $register $register $register
        done
        printf '<Host "load">\nAddress "127.0.0.1"\nPort "%s"\nInterval 1\n<Slave 1>\nInstance "load_1"\n' "$slave"
        printf 'Collect "d%d"\n' {0..999}
        printf '</Slave>\n</Host>\n</Plugin>\n<Plugin mqtt>\n<Publish "bench">\nHost "127.0.0.1"\nPort "%s"\n' "$broker"
        printf 'QoS 2\nRetain true\n</Publish>\n</Plugin>\n'
    } >"$work/collectd.conf"
    spawn "$collectd" -f -C "$work/collectd.conf" -P "$work/collectd.pid" >"$work/collectd.out" 2>&1
    other=$spawned
    sleep 10
    measure "$other" "$passes"
    collectd_cpu=$cpu collectd_rss=$(rss_kib "$other")
    row "collectd" "$cpu us CPU a value, $rate values a second, $collectd_rss KiB resident, $(pss_kib "$other") \
KiB of its own"
    end "$other"
else
    echo "collectd: not installed (collectd-core, libmodbus5, libmosquitto1), left out"
fi

# paced WHAT LOG
paced() {
    config paced interval=1 log="$2"
    start_daemon paced
    sleep 10
    measure "$daemon" "$passes"
    row "$1" "$cpu us CPU a value, $rate values a second, $(rss_kib "$daemon") KiB resident, \
$(pss_kib "$daemon") KiB of its own"
    row "  beside the bare loop" "$(calc %.2f "$cpu / $bare_cpu") x" "at most 1.1 x"
    [[ -z $collectd_cpu ]] || row "  beside collectd" "$(calc %.2f "$cpu / $collectd_cpu") x CPU, $(calc %.2f \
        "$(rss_kib "$daemon") / $collectd_rss") x memory" "below 0.7 x, 1 x"
    stop_daemon
}
each_binary paced "daemon" '{"max_size": 5}'
paced "daemon, quiet" '{"quiet": true}'
