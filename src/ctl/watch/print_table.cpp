#include <ostream>
#include <stdexcept>

#include <poll.h>

#include "ctl/language/phrase.h"
#include "ctl/watch/broker_link.h"
#include "ctl/watch/view.h"
#include "ctl/watch/watch.h"
#include "foundation/xmisc.h"

namespace watch {

using std::chrono::milliseconds;
using std::chrono::seconds;

namespace {

constexpr auto usual_limit = seconds(10);
/// No new parameter for so long: what lay on the broker has come.
constexpr auto quiet_time = milliseconds(1000);
constexpr int look_ms = 100;

/// Fills the board until it has settled or the time is over. Raises std::runtime_error when the broker isn't reached.
void fill(Board& board, RowList& list, Options const& options) {
    Time now = xCommon::xtime::steady();
    BrokerLink link(options.broker, Board::topics(), [&](Message const& message) { board.take(message, now); });
    Time const end = now + (options.limit.count() > 0 ? options.limit : usual_limit);
    Time last_news = now;
    size_t known = 0;
    bool was_up = false;
    while (now < end && (list.rows().empty() || now - last_news < quiet_time)) {
        link.turn(now);
        if (!was_up && link.failures() > 0) {
            break;
        }
        was_up = was_up || link.is_up();
        if (board.rows().size() != known) {
            known = board.rows().size();
            last_news = now;
            list.update(now);
        }
        pollfd watched{link.descriptor(), link.events(), 0};
        poll(&watched, 1, look_ms);
        now = xCommon::xtime::steady();
    }
    if (!was_up) {
        throw std::runtime_error(say("%s: no connection: %s", options.broker.place(),
                                     link.reason().empty() ? say("the broker doesn't answer") : link.reason()));
    }
}

}  // namespace

void print_table(Options const& options, std::ostream& out) {
    Board board;
    RowList list(board);
    list.set_filter(options.filter);
    fill(board, list, options);
    if (list.rows().empty()) {
        throw std::runtime_error(options.filter.empty() ? say("no values came")
                                                        : say("no values came that fit '%s'", options.filter));
    }
    for (std::string const& line : report(board, list, xCommon::xtime::steady())) {
        out << line << "\n";
    }
    out.flush();
}

}  // namespace watch
