#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

namespace tavrin {

// Parses a JSON document from an untrusted source (a server's answer, a language pack).
// Never throws and never recurses deeply: a document nested deeper than kMaxJsonDepth is
// refused before parsing, since the parser itself recurses on the stack. `error` receives
// the parser's description of the problem.
inline constexpr int kMaxJsonDepth = 512;
bool ParseJsonDocument(std::string_view bytes, nlohmann::json& document, std::string& error);

// What the parser says for a document that parsed but is of the wrong kind.
inline constexpr const char* kJsonNoError = "no error occurred";

}  // namespace tavrin
