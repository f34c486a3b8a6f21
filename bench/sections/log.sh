# What the log takes: bytes a value, and the hours that its four files hold
# shellcheck shell=bash disable=SC2154

four_files=$((4 * 5 * 1024 * 1024))

log_bytes() { cat /var/log/ostrand/"$log".* | wc -c; }

# volume RATE QUIET: values a second, each with an interval of a second.
volume() {
    local before passes each
    passes=$(counts 20 4)
    config log params="$1" interval=1 log="{\"max_size\": 1000, \"quiet\": $2}"
    start_daemon log
    sleep 5
    await_lines "$work/passes" 1 30
    sleep 0.3 # what is written within 100 ms
    before=$(log_bytes)
    await_lines "$work/passes" "$passes" $((passes * 3))
    sleep 0.3
    each=$(calc %.1f "($(log_bytes) - $before) / $passes / $1")
    if [[ $each == 0.0 ]]; then
        row "$1 values a second, quiet $2" "nothing while all is well"
    else
        row "$1 values a second, quiet $2" "$each bytes a value, four files hold $(calc %.2f \
            "$four_files / $each / $1 / 3600") hours"
    fi
    stop_daemon
}

volumes() {
    local rate quiet
    for rate in 1 20 1000; do
        for quiet in false true; do
            [[ $label == before && $quiet == true ]] || volume "$rate" "$quiet"
        done
    done
}
each_binary volumes
