#include "sync/thread_start.h"

#include "i18n/placeholders.h"
#include "i18n/translator.h"
#include "i18n/utf8_conversion.h"

namespace tavrin {

std::wstring ThreadStartFailure(const std::error_code& code) {
    return FillPlaceholders(TrWide("error.thread_start_failed"),
                            {Utf8ToWide(code.message()), std::to_wstring(code.value())});
}

}  // namespace tavrin
