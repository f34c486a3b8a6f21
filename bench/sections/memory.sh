# Memory, and the CPU of a daemon that has nothing to do or nobody to ask
# shellcheck shell=bash disable=SC2154

config one params=10 interval=60
start_daemon one
sleep 10
one=$(rss_kib "$daemon")
stop_daemon
config thousand interval=1
start_daemon thousand
sleep 15
row "1 port with 1,000 parameters" "$(rss_kib "$daemon") KiB resident" "at most 12 MiB"
stop_daemon
ports=$(counts 100 10)
config many ports="$ports" params=10 interval=60
start_daemon many
sleep $((ports + 15)) # a port a second
many=$(rss_kib "$daemon")
row "each further port with 10 parameters" "$(((many - one) / (ports - 1))) KiB resident ($ports ports: $many KiB, \
$(ss -Htn state established "dport = :$slave" | wc -l) connected)" "at most 0.4 MiB"
stop_daemon

# idle WHAT SETTLED SECONDS WANTED: CPU of the daemon of the file "idle".
idle() {
    local before
    start_daemon idle
    sleep "$2"
    before=$(cpu_us "$daemon")
    sleep "$3"
    row "$1" "$(calc %.3f "($(cpu_us "$daemon") - $before) / 10000 / $3") % of a core" "$4"
    stop_daemon
}
config idle ports=20 params=10 interval=3600
idle "20 ports, nothing due" 30 "$(counts 20 5)" "below 1 %"
config idle params=10 slave="$(free_port)"
idle "1 port, 10 parameters, a peer that refuses" 5 "$(counts 60 10)" "below 2 %"
