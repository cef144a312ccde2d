#include <cstdlib>

#include "i18n/utf8_conversion.h"
#include "tests/support/sandbox.h"

namespace tavrin::test {

// The C runtime's copy of the environment is what _wgetenv reads, so it is the one to set.
ScopedEnvironment::ScopedEnvironment(const char* name, const std::filesystem::path& value)
    : name_(name) {
    const std::wstring wideName = Utf8ToWide(name);
    if (const wchar_t* old = _wgetenv(wideName.c_str())) {
        hadValue_ = true;
        previous_ = old;
    }
    _wputenv_s(wideName.c_str(), value.wstring().c_str());
}

ScopedEnvironment::~ScopedEnvironment() {
    const std::wstring wideName = Utf8ToWide(name_);
    _wputenv_s(wideName.c_str(), hadValue_ ? previous_.c_str() : L"");
}

}  // namespace tavrin::test
