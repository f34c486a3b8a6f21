#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include <unistd.h>

#include "ctl/commands.h"
#include "ctl/language/phrase.h"
#include "ctl/watch/watch.h"

void add_watch(CLI::App& app, int& /*status*/) {
    struct Entered : watch::Options {
        std::vector<std::string> words;
        int seconds = 0;
        bool once = false;
    };
    auto entered = std::make_shared<Entered>();
    CLI::App* command = app.add_subcommand("watch", say("show the values that come, as a table in the terminal"));
    command->add_option("FILTER", entered->words, say("only names (DEVICE/PARAMETER) that hold these words"));
    add_broker_options(*command, entered->broker);
    command->add_flag("--once", entered->once, say("wait until the values have come, print them and end"));
    command->add_option("--seconds", entered->seconds, say("end after this time; with --once 10 otherwise"))
        ->check(CLI::Range(1, 1000000));
    command->footer(
        say("  ostrandctl watch boiler\n"
            "shows every parameter with \"boiler\" in its name, its age and trend, and the polls that failed. In the "
            "table\n"
            "? lists the keys: w writes a value, / filters, q quits.\n"
            "  ostrandctl watch --once boiler > values.txt\n"
            "prints the same once, as it does wherever there is no terminal; the status is 1 if nothing fits or the\n"
            "broker can't be reached."));
    command->callback([entered] {
        entered->broker.complete();
        for (std::string const& word : entered->words) {
            entered->filter += (entered->filter.empty() ? "" : " ") + word;
        }
        entered->limit = std::chrono::seconds(entered->seconds);
        if (entered->once || isatty(STDOUT_FILENO) == 0 || isatty(STDIN_FILENO) == 0) {
            print_table(*entered, std::cout);
        } else {
            show_table(*entered);
        }
    });
}
