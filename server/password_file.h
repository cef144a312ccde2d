#pragma once

#include <filesystem>
#include <map>
#include <string>

namespace tavrin::server {

// Reads project passwords from a file, one "PROJECT=SECRET" per line: the project trimmed of
// blanks, the secret everything after the first "=" (a trailing CR dropped). Blank lines and
// lines starting with "#" are skipped. Entries already in `passwords` are kept: a password
// given on the command line wins over the file.
//
// The file must be a regular file that only its owner may read or write, so that the secrets
// are not shown to every user of the machine as a command line would be. A file in systemd's
// credentials folder ($CREDENTIALS_DIRECTORY) is private by construction and taken as it is.
bool ReadPasswordFile(const std::filesystem::path& path,
                      std::map<std::string, std::string>& passwords, std::string& error);

}  // namespace tavrin::server
