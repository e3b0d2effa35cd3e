// Reports as JSON.
#pragma once

#include <nlohmann/json.hpp>

#include <ostream>

namespace app {

/// Paths may hold bytes that are no UTF-8, which JSON cannot; they become replacement characters.
inline void PrintJson(std::ostream& out, const nlohmann::ordered_json& json)
{
    out << json.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace) << "\n";
}

} // namespace app
