#include "server/password_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string_view>

namespace tavrin::server {

namespace {

std::string_view TrimBlanks(std::string_view text) {
    while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) {
        text.remove_prefix(1);
    }
    while (!text.empty() && (text.back() == ' ' || text.back() == '\t')) {
        text.remove_suffix(1);
    }
    return text;
}

bool InCredentialsFolder(const std::filesystem::path& path) {
    const char* folder = std::getenv("CREDENTIALS_DIRECTORY");
    if (folder == nullptr || *folder == '\0') {
        return false;
    }
    std::error_code ignored;
    const auto file = std::filesystem::weakly_canonical(path, ignored);
    const auto credentials = std::filesystem::weakly_canonical(folder, ignored);
    return !credentials.empty() && file.parent_path() == credentials;
}

bool ReadAll(int descriptor, std::string& text) {
    char buffer[4096];
    for (;;) {
        const ssize_t got = ::read(descriptor, buffer, sizeof buffer);
        if (got < 0) {
            return false;
        }
        if (got == 0) {
            return true;
        }
        text.append(buffer, static_cast<std::size_t>(got));
    }
}

// The file's lines: PROJECT=SECRET, blank lines and # comments. The blanks around both are
// trimmed: HTTP strips them from a header's value, so a client could never send a secret's own.
bool ReadPasswordLines(const std::string& text, const std::string& name,
                       std::map<std::string, std::string>& passwords, std::string& error) {
    std::size_t lineNumber = 0;
    for (std::size_t start = 0; start < text.size();) {
        const std::size_t end = std::min(text.find('\n', start), text.size());
        std::string_view line(text.data() + start, end - start);
        start = end + 1;
        ++lineNumber;
        if (!line.empty() && line.back() == '\r') {
            line.remove_suffix(1);
        }
        const std::string_view trimmed = TrimBlanks(line);
        if (trimmed.empty() || trimmed.front() == '#') {
            continue;
        }
        const std::size_t equals = line.find('=');
        const std::string_view project = equals == std::string_view::npos
                                             ? std::string_view()
                                             : TrimBlanks(line.substr(0, equals));
        const std::string where =
            "--password-file " + name + ": line " + std::to_string(lineNumber);
        if (project.empty()) {
            error = where + " is not PROJECT=SECRET";
            return false;
        }
        const std::string_view secret = TrimBlanks(line.substr(equals + 1));
        if (secret.empty()) {
            error = where + " gives " + std::string(project) + " no secret";
            return false;
        }
        passwords.emplace(std::string(project), std::string(secret));
    }
    return true;
}

}  // namespace

bool ReadPasswordFile(const std::filesystem::path& path,
                      std::map<std::string, std::string>& passwords, std::string& error) {
    const std::string name = path.string();
    const int descriptor = ::open(name.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) {
        error = "--password-file " + name + ": cannot be opened";
        return false;
    }
    struct stat status {};
    std::string text;
    const bool statted = ::fstat(descriptor, &status) == 0;
    const bool regular = statted && S_ISREG(status.st_mode);
    const bool read = regular && ReadAll(descriptor, text);
    ::close(descriptor);
    if (!regular) {
        error = "--password-file " + name + ": not a regular file";
        return false;
    }
    if ((status.st_mode & 077) != 0 && !InCredentialsFolder(path)) {
        char mode[8];
        std::snprintf(mode, sizeof mode, "%04o", static_cast<unsigned>(status.st_mode & 07777));
        error = "--password-file " + name + ": other users may read it (mode " + mode +
                "); make it private with chmod 600";
        return false;
    }
    if (!read) {
        error = "--password-file " + name + ": cannot be read";
        return false;
    }
    return ReadPasswordLines(text, name, passwords, error);
}

}  // namespace tavrin::server
