#include "ctl/json_text.h"

#include <json/writer.h>

#include "foundation/jutils.h"

std::string json_text(Json::Value const& value) {
    Json::StreamWriterBuilder style;
    style["indentation"] = "    ";
    style["enableYAMLCompatibility"] = true;  // no blank ahead of a colon
    style["emitUTF8"] = true;
    style["precision"] = 15;
    return Json::writeString(style, value) + "\n";
}

std::string text_at(Json::Value const& node, char const* key) {
    Json::Value const& value = xCommon::jUtils::at(node, key);
    return value.isConvertibleTo(Json::stringValue) ? value.asString() : std::string();
}
