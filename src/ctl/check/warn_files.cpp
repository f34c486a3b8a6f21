#include <set>

#include "ctl/check/warnings.h"

void look_at_files(WarningContext const& context) {
    std::set<std::string> files{context.loading.file().path()};
    for (Loading::Element const& element : context.loading.elements) {
        files.insert(element.place.file);
    }
    auto const add = [&context](char const* name, std::string const& file, Document::Position position,
                                std::string const& key, std::string text) {
        Finding finding = make_finding(context.loading, {file, -1}, "", std::move(text));
        finding.key = key;
        finding.line = position.line;
        finding.column = position.column;
        context.add(name, std::move(finding));
    };
    for (std::string const& file : files) {
        Document const* const document = context.loading.document(file);
        if (document == nullptr) {
            continue;
        }
        if (auto const place = document->not_utf8()) {
            add(warn::encoding, file, *place, "", say("isn't UTF-8: save the file so, or no broker takes the topics"));
        }
        if (auto const twice = document->key_twice()) {
            add(warn::twice, file, twice->position, twice->key, say("stands twice: the last one counts"));
        }
    }
}
