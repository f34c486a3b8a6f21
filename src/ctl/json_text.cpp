#include "ctl/json_text.h"

#include <json/writer.h>

std::string json_text(Json::Value const& value) {
    Json::StreamWriterBuilder style;
    style["indentation"] = "  ";
    style["emitUTF8"] = true;
    style["precision"] = 15;
    return Json::writeString(style, value) + "\n";
}
