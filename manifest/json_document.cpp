#include "manifest/json_document.h"

namespace tavrin {
namespace {

// The deepest nesting of arrays and objects, strings skipped.
int NestingDepth(std::string_view bytes) {
    int depth = 0;
    int deepest = 0;
    bool inString = false;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        const char c = bytes[i];
        if (inString) {
            if (c == '\\') {
                ++i;
            } else if (c == '"') {
                inString = false;
            }
        } else if (c == '"') {
            inString = true;
        } else if (c == '[' || c == '{') {
            deepest = std::max(deepest, ++depth);
            if (deepest > kMaxJsonDepth) {
                return deepest;
            }
        } else if (c == ']' || c == '}') {
            --depth;
        }
    }
    return deepest;
}

}  // namespace

bool ParseJsonDocument(std::string_view bytes, nlohmann::json& document, std::string& error) {
    if (NestingDepth(bytes) > kMaxJsonDepth) {
        error = "nesting deeper than " + std::to_string(kMaxJsonDepth) + " levels";
        return false;
    }
    try {
        document = nlohmann::json::parse(bytes);
    } catch (const nlohmann::json::exception& e) {
        error = e.what();
        return false;
    }
    return true;
}

}  // namespace tavrin
