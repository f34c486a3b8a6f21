// The command line of the companion: what its status says, its help, and how a shell completes it.

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "support/child_process.h"
#include "support/temp_folder.h"

using testing::HasSubstr;
using testing::Not;

namespace {

Outcome ctl(std::vector<std::string> command, std::string const& locale = "C") {
    command.insert(command.begin(), OSTRANDCTL_BINARY);
    return run_to_end({std::move(command), {{"LC_ALL", ""}, {"LC_MESSAGES", ""}, {"LANG", locale}}});
}

TEST(Ctl, OnlyAFileThatCantBeReadGivesStatusTwo) {
    TempFolder const folder;
    std::string const bad = folder.write("bad.json", "{");
    std::string const pipe = folder.file("pipe");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    std::string const log = folder.write("log", "] [p] передача +0 мс : 01\n");
    for (std::vector<std::string> command : {std::vector<std::string>{"check"},
                                             {"topics"},
                                             {"simulate"},
                                             {"watch", "--once", "-c"},
                                             {"capture", log, "--port", "p", "-c"}}) {
        for (auto const& [file, status] :
             {std::pair{folder.path(), 2}, {folder.file("none"), 2}, {pipe, 2}, {bad, 1}}) {
            std::vector<std::string> line = command;
            line.push_back(file);
            Outcome const outcome = ctl(line);
            EXPECT_EQ(outcome.status, status) << command.front() << " " << file << "\n" << outcome.output;
        }
    }
}

TEST(Ctl, HelpIsInTheLanguageOfTheLocale) {
    Outcome const help = ctl({"scan", "--help"}, "ru_RU.UTF-8");
    EXPECT_THAT(help.output, HasSubstr("Ключи:\n  -h,--help")) << help.output;
    EXPECT_THAT(help.output, Not(HasSubstr("Options:"))) << help.output;
}

constexpr char const* plant = R"({"mqtt": {"url": "127.0.0.1", "port": 1}, "ports": [{"name": "l", "type": "base.rs",
    "rs": {"path": "/dev/ttyS0"}, "devices": [
    {"name": "gate: 1", "type": "mb-rtu", "sid": 1, "params": [
        {"name": "темп 1", "reg_type": "input", "reg_addr": 0, "value_type": "i16"},
        {"name": "a, \"b\"", "reg_type": "holding", "reg_addr": 0, "value_type": "i16", "read_only": false}]},
    {"name": "attic", "type": "mb-rtu", "sid": 2, "params": [
        {"name": "t", "reg_type": "input", "reg_addr": 0, "value_type": "i16"}]}]}]})";

/// Splits a line as the shell does, asks for what completes it, and prints that.
constexpr char const* shell = R"(
    source /usr/share/bash-completion/bash_completion
    source "$1"
    while IFS= read -r COMP_LINE; do
        COMP_POINT=${#COMP_LINE} COMP_WORDS=() COMPREPLY=() rest=$COMP_LINE
        while [[ $rest =~ ^\ *(([^ :=\\\"]|\\.|\"[^\"]*\"?)+|[:=]+)(.*)$ ]]; do
            COMP_WORDS+=("${BASH_REMATCH[1]}") rest=${BASH_REMATCH[3]}
        done
        [[ $COMP_LINE == *[\ =] ]] && COMP_WORDS+=("")
        COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
        _ostrandctl "${COMP_WORDS[0]}" "${COMP_WORDS[COMP_CWORD]}" "${COMP_WORDS[COMP_CWORD - 1]}"
        (IFS='|' && echo "${COMPREPLY[*]}")
    done <"$2" 2>&1)";

TEST(Ctl, TheShellCompletesWhatHelpAndConfigurationName) {
    TempFolder const folder;
    std::string const config = folder.write("plant.json", plant);
    struct Row {
        std::string line;
        std::string offered;
    };
    std::vector<Row> const rows = {
        {" s", "scan|schema|simulate"},
        {" --language ", "en|ru"},
        {" --language ru che", "check"},
        {" check --no-warn al", "alternating-line"},
        {" check --no-warn=u", "unknown-key"},
        {" scan --b", "--baudrate|--bytesize"},
        {" scan --protocol dcon,m", "dcon,mercury|dcon,milur|dcon,modbus"},
        {" scan --baudrate=9600,19", "9600,19200"},
        {" scan --rtu --parity e", "even"},
        {" topics " + folder.file("pl"), config},
        {" topics " + config + " ", ""},
        {" read " + config + " at", "attic_2|attic_2/"},
        {" write " + config + " ", "gate:\\ 1_1/"},
        {" simulate --seconds 5 --output " + folder.file("pl"), config},
        {" watch -c " + config + " ", "gate:\\ 1_1|gate:\\ 1_1/|attic_2|attic_2/"},
        {" watch --config=" + config + " at", "attic_2|attic_2/"},
        {" watch -c " + config + " attic_2/", "attic_2/t"},
        {" watch -c " + config + " gate:\\ 1_1/", "\\ 1_1/темп\\ 1|\\ 1_1/a,\\ \\\"b\\\""},
        {" watch -c " + config + " \"gate: 1_1/", "gate: 1_1/темп 1|gate: 1_1/a, \\\"b\\\""},
        {" watch -c " + folder.file("none") + " ", ""},
        {" nonsense ", ""},
    };
    std::string lines;
    std::string expected;
    for (Row const& row : rows) {
        lines += OSTRANDCTL_BINARY + row.line + "\n";
        expected += row.offered + "\n";
    }
    for (char const* const locale : {"C", "ru_RU.UTF-8"}) {
        Outcome const outcome =
            run_to_end({{"/bin/bash", folder.write("shell", shell), SOURCE_DIR "/packaging/ostrandctl.bash-completion",
                         folder.write("lines", lines)},
                        {{"LC_ALL", ""}, {"LC_MESSAGES", ""}, {"LANG", locale}}});
        EXPECT_EQ(outcome.output, expected) << locale;
    }
}

}  // namespace
