#pragma once

#include <json/value.h>

/// JSON Schema (2020-12) of a configuration in the plain shape, or of a template, made of the tables of keys. It
/// refuses whatever the loader would leave out or refuse for a type, a word, a limit or something missing; a port in
/// the connection shape passes unseen.
Json::Value configuration_schema();
Json::Value template_schema();
