#include "app/options.h"

#include <vector>

#include <getopt.h>

#include "config/constants.h"

Options Options::parse(int argc, char* const* argv) {
    Options options;
    options.log_name = path_log_name;
    // getopt may reorder what it is given, and the next image of this process wants the arguments as they came.
    std::vector<char*> arguments(argv, argv + argc);
    arguments.push_back(nullptr);
    opterr = 0;
    optind = 0;  // begin anew, also at a second call
    for (int option = 0; (option = getopt(argc, arguments.data(), "c:l:dhv")) != -1;) {
        switch (option) {
            case 'c':
                if (optarg != nullptr) {
                    options.config_path = optarg;
                    options.config_given = true;
                }
                break;
            case 'l':
                options.log_name = optarg;
                break;
            case 'd':
                options.debug = true;
                break;
            case 'h':
                options.print_hex = true;
                break;
            case 'v':
                options.verbose = true;
                break;
            default:
                break;
        }
    }
    return options;
}
