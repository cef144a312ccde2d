#include <cstdlib>

#include "i18n/utf8_conversion.h"
#include "tests/support/sandbox.h"

namespace tavrin::test {

ScopedEnvironment::ScopedEnvironment(const char* name, const std::filesystem::path& value)
    : name_(name) {
    if (const char* old = std::getenv(name)) {
        hadValue_ = true;
        previous_ = Utf8ToWide(old);
    }
    if (value.empty()) {
        unsetenv(name);
    } else {
        setenv(name, PathToUtf8(value).c_str(), 1);
    }
}

ScopedEnvironment::~ScopedEnvironment() {
    if (hadValue_) {
        setenv(name_.c_str(), WideToUtf8(previous_).c_str(), 1);
    } else {
        unsetenv(name_.c_str());
    }
}

}  // namespace tavrin::test
