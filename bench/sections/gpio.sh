# GPIO lines
# shellcheck shell=bash disable=SC2154

mkdir "$work/gpio"
OSTRAND_TEST_ROOT=$work/gpio "$build/gpio_bench" "$broker" "$work/gpio"
