#include "net/http_session.h"

#include <algorithm>

#include "i18n/translator.h"

namespace tavrin {

HttpTimeouts ClampTimeouts(const HttpTimeouts& timeouts) {
    const auto clamp = [](int ms) { return std::max(ms, 100); };
    return {clamp(timeouts.resolveMs), clamp(timeouts.connectMs), clamp(timeouts.sendMs),
            clamp(timeouts.receiveMs)};
}

bool OpenHttpSession(HttpSession& session, std::wstring& errorText, const HttpTimeouts& timeouts) {
    if (session.endpoint.scheme == kSchemeHttp &&
        !plainHttpAllowed.load(std::memory_order_relaxed)) {
        errorText = TrWide("error.http_requires_unlock");
        return false;
    }
    if (session.endpoint.scheme != kSchemeHttp && session.endpoint.scheme != kSchemeHttps) {
        errorText = TrWide("error.only_http_https");
        return false;
    }
    session.timeouts = ClampTimeouts(timeouts);
    return OpenHttpConnection(session, errorText);
}

bool OpenHttpSession(HttpSession& session, std::wstring& errorText, int resolveMs, int connectMs,
                     int sendMs, int receiveMs) {
    return OpenHttpSession(session, errorText, {resolveMs, connectMs, sendMs, receiveMs});
}

}  // namespace tavrin
