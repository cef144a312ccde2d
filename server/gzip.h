#pragma once

#include <string>
#include <string_view>

namespace tavrin::server {

// `bytes` in gzip form, as served with "Content-Encoding: gzip" and as nginx's gzip_static
// finds it beside a file.
std::string Gzip(std::string_view bytes);

}  // namespace tavrin::server
