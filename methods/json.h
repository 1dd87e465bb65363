#ifndef METHODS_JSON_H
#define METHODS_JSON_H

// From JSON to a request record.

#include <nlohmann/json_fwd.hpp>

#include "methods/request.h"

namespace methods {

// Each returns what is wrong, with its place, or nothing.

/// Parses a text that is one JSON value. A name that an object has twice is refused, and nesting
/// deeper than any request's.
std::string parseJson(std::string_view text, nlohmann::json& value);

/// Fills a record from an object: numbers, arrays, nested objects, bytes also in hexadecimal.
/// Fields that it does not name, and what an array has beyond its elements, are zero.
/// @param place the object's, in front of the places in it; empty: it has none
/// @return such as "head.f9: no such field; the nearest is f0"
std::string readRequest(const Method& method, const nlohmann::json& value, Request& request,
                        const std::string& place = "");

}  // namespace methods

#endif
