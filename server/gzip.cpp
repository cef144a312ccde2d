#include "server/gzip.h"

#include <zlib.h>

namespace tavrin::server {

std::string Gzip(std::string_view bytes) {
    z_stream stream{};
    // Large lists are compressed after every change: speed matters more than the last percent.
    const int level = bytes.size() > (1U << 20) ? Z_BEST_SPEED : Z_DEFAULT_COMPRESSION;
    deflateInit2(&stream, level, Z_DEFLATED, 15 + 16, 8, Z_DEFAULT_STRATEGY);
    std::string out(deflateBound(&stream, static_cast<uLong>(bytes.size())) + 32, '\0');
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(bytes.data()));
    stream.avail_in = static_cast<uInt>(bytes.size());
    stream.next_out = reinterpret_cast<Bytef*>(out.data());
    stream.avail_out = static_cast<uInt>(out.size());
    deflate(&stream, Z_FINISH);
    out.resize(stream.total_out);
    out.shrink_to_fit();  // the bound is larger than the input: keep only what is used
    deflateEnd(&stream);
    return out;
}

}  // namespace tavrin::server
