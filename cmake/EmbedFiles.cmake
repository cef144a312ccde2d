# Run as a build step: writes OUTPUT, a C++ source defining `SYMBOL()` that returns the bytes
# of FILES (a ;-list) by file name, so data files are compiled into every program.
#   cmake -DOUTPUT=... -DSYMBOL=... -DFILES=a.json|b.json -P EmbedFiles.cmake
string(REPLACE "|" ";" FILES "${FILES}")
set(body "")
set(entries "")
set(index 0)
foreach(file IN LISTS FILES)
    file(READ "${file}" hex HEX)
    string(LENGTH "${hex}" hexLength)
    math(EXPR size "${hexLength} / 2")
    string(REGEX REPLACE "([0-9a-f][0-9a-f])" "'\\\\x\\1'," bytes "${hex}")
    cmake_path(GET file FILENAME name)
    string(APPEND body "constexpr char kFile${index}[] = {${bytes} '\\0'};\n")
    string(APPEND entries "        {\"${name}\", std::string_view(kFile${index}, ${size})},\n")
    math(EXPR index "${index} + 1")
endforeach()
set(content "// Generated at build time by cmake/EmbedFiles.cmake; do not edit.
#include <span>

#include \"base/embedded_file.h\"

namespace tavrin {
namespace {
${body}}  // namespace

std::span<const EmbeddedFile> ${SYMBOL}() {
    static constexpr EmbeddedFile kFiles[] = {
${entries}    };
    return kFiles;
}

}  // namespace tavrin
")
file(WRITE "${OUTPUT}.tmp" "${content}")
file(COPY_FILE "${OUTPUT}.tmp" "${OUTPUT}" ONLY_IF_DIFFERENT)
file(REMOVE "${OUTPUT}.tmp")
