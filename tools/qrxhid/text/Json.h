#pragma once

#include <nlohmann/json.hpp>

// Instantiated in Json.cpp only: in each source that writes JSON it took as long to compile as the rest of that source.
extern template class nlohmann::basic_json<nlohmann::ordered_map>;
