#pragma once

#include <nlohmann/json.hpp>

// Its code is in Json.cpp only: to make it again took each source that writes JSON as long as all else in it.
extern template class nlohmann::basic_json<nlohmann::ordered_map>;
