#pragma once

#include <string>
#include <vector>

#include <json/value.h>

/// A configuration, and how it came from a good one.
struct Mutation {
    std::string name;
    Json::Value config;
};

/// The samples of the project and the configurations of its scenarios. Their templates are put where they are looked
/// for.
std::vector<Mutation> good_configurations();
/// Each value of a configuration in turn: of another type, gone, null, empty, huge, out of its range, nested, under
/// another name. Every `step`th of them.
std::vector<Mutation> mutations(Mutation const& good, size_t step);
