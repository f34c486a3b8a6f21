# Converters: one conversion, and 1,000 values a second with and without
# shellcheck shell=bash disable=SC2154

"$build/pure_bench" --benchmark_format=console --benchmark_filter=convert 2>/dev/null
echo "wanted: at most 10 us each"

# shellcheck disable=SC2317 # it is called by name
converters() {
    local plain
    config plain interval=1 log='{"max_size": 100}'
    start_daemon plain
    measure "$daemon" "$(counts 20 3)"
    plain=$cpu
    stop_daemon
    config converted interval=1 log='{"max_size": 100}' converter='parseFloat(value).toFixed(2)'
    start_daemon converted
    measure "$daemon" "$(counts 20 3)"
    row "CPU a value at $rate values a second" \
        "$cpu us with converters, $plain us without: $(calc %.2f "$cpu / $plain") x" "at most 1.3 x"
    stop_daemon
}
each_binary converters
