# 1,000 values a second to a broker with TLS, beside the same one without
# shellcheck shell=bash disable=SC2154

passes=$(counts 20 3)
secure=$(free_port)
new_key="-newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes"
# shellcheck disable=SC2086 # these are words
{
    openssl req -x509 $new_key -days 1 -subj /CN=authority -keyout "$work/ca.key" -out "$work/ca.crt"
    openssl req $new_key -subj /CN=broker -keyout "$work/broker.key" -out "$work/broker.csr"
    openssl x509 -req -in "$work/broker.csr" -CA "$work/ca.crt" -CAkey "$work/ca.key" -CAcreateserial -days 1 \
        -extfile <(echo subjectAltName=IP:127.0.0.1) -out "$work/broker.crt"
} 2>"$work/openssl.out" || fail "openssl: $(cat "$work/openssl.out")"
cat >"$work/secure.conf" <<END
listener $secure 127.0.0.1
allow_anonymous true
certfile $work/broker.crt
keyfile $work/broker.key
user $(id -un)
END
spawn mosquitto -c "$work/secure.conf" >/dev/null 2>&1
config plain interval=1
jq --argjson port "$secure" --arg ca "$work/ca.crt" '.mqtt = {url: "127.0.0.1", port: $port, tls: {ca_file: $ca}}' \
    "$work/plain.json" >"$work/tls.json"
for kind in plain tls; do
    start_daemon "$kind"
    sleep 10
    measure "$daemon" "$passes"
    row "$kind" "$cpu us CPU a value, $rate values a second, $(rss_kib "$daemon") KiB resident, $(pss_kib "$daemon") \
KiB of its own"
    stop_daemon
done
