#pragma once

#include <curl/curl.h>

#include <string>
#include <string_view>

namespace tavrin {

// The Linux form of a failed transfer's text: the translation of `key`, " (", curl's code,
// "): " and curl's message for it, the same shape as a Windows system error.
std::wstring FormatCurlError(std::string_view key, CURLcode code);

}  // namespace tavrin
