// The pure parts: what one value costs between its bytes and its text.

#include <memory>
#include <sstream>
#include <string>

#include <benchmark/benchmark.h>
#include <json/reader.h>

#include "config/config.h"
#include "drivers/mbrtu/pdu.h"
#include "foundation/crc.h"

namespace {

/// A device with one parameter, made of its keys.
class Sample {
 public:
    explicit Sample(std::string const& keys) {
        Json::Value root;
        std::istringstream(R"({"ports": [{"name": "p", "type": "base.null", "devices": [{"name": "d", "type": "mb-rtu",
            "sid": 5, "params": [{"name": "a", "reg_addr": 16, )" +
                           keys + "}]}]}]}") >>
            root;
        config_.reset(Config::Load(root));
    }
    modbus::c_param& param() const {
        return dynamic_cast<modbus::c_param&>(*config_->ports.children.at(0)->children.at(0)->children.at(0));
    }

 private:
    std::unique_ptr<Config> config_;
};

void crc_of_a_long_frame(benchmark::State& state) {
    unsigned char const frame[256] = {};
    for (auto _ : state) {
        benchmark::DoNotOptimize(xCommon::crc16::crc_16(frame, sizeof(frame)));
    }
}
BENCHMARK(crc_of_a_long_frame);

void build_a_read_request(benchmark::State& state) {
    Sample const sample(R"("value_type": "u16")");
    for (auto _ : state) {
        xCommon::ByteList frame;
        mbrtu::pdu::read(frame, 5, &sample.param());
        benchmark::DoNotOptimize(frame.data());
    }
}
BENCHMARK(build_a_read_request);

void check_a_reply(benchmark::State& state) {
    Sample const sample(R"("value_type": "u16")");
    unsigned char const reply[] = {0x05, 0x03, 0x02, 0x04, 0xD2, 0xCB, 0x19};
    for (auto _ : state) {
        benchmark::DoNotOptimize(mbrtu::pdu::check_head(5, reply));
        benchmark::DoNotOptimize(mbrtu::pdu::check_crc(reply));
    }
}
BENCHMARK(check_a_reply);

void decode_a_float(benchmark::State& state) {
    Sample const sample(R"("value_type": "float32")");
    unsigned char const data[] = {0xC4, 0x9A, 0x51, 0xEC};
    for (auto _ : state) {
        benchmark::DoNotOptimize(sample.param().GetValueFromBuffer(data, sizeof(data)));
    }
}
BENCHMARK(decode_a_float);

void format_a_scaled_value(benchmark::State& state) {
    Sample const sample(R"("value_type": "u16", "scale": 0.1, "correction": 5, "unit": "kWh")");
    for (auto _ : state) {
        benchmark::DoNotOptimize(sample.param().format("12345"));
    }
}
BENCHMARK(format_a_scaled_value);

void convert(benchmark::State& state, char const* expression) {
    Sample const sample(std::string(R"("value_type": "u16", "converter_read": ")") + expression + "\"");
    for (auto _ : state) {
        benchmark::DoNotOptimize(sample.param().CalculateReadExpression("12345"));
    }
}
BENCHMARK_CAPTURE(convert, product, "value * 2");
BENCHMARK_CAPTURE(convert, two_digits, "parseFloat(value).toFixed(2)");
BENCHMARK_CAPTURE(convert, function, "(function (v) { return v > 100 ? v / 10 : v; })(parseInt(value))");
BENCHMARK_CAPTURE(convert, variable, "var v = parseInt(value) - 100; v < 0 ? 0 : v");

}  // namespace

BENCHMARK_MAIN();
