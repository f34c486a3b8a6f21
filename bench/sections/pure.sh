# The pure parts: what one value costs between its bytes and its text
# shellcheck shell=bash disable=SC2154

"$build/pure_bench" --benchmark_format=console --benchmark_filter=-convert 2>/dev/null
