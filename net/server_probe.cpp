#include "net/server_probe.h"

#include <string>

#include "net/http_request.h"
#include "net/http_session.h"
#include "net/server_endpoint.h"

namespace tavrin {

namespace {

constexpr HttpTimeouts kProbeTimeouts{2500, 2500, 2500, 2500};
// Enough to know that an HTTP answer came; the rest of a large answer is not waited for.
constexpr std::uint64_t kProbeBodyLimit = std::uint64_t{64} * 1024;

}  // namespace

bool ProbeServer(std::wstring_view url) {
    std::wstring canonical;
    std::wstring error;
    HttpSession session;
    if (!NormalizeServerUrl(url, true, canonical, error) ||
        !ParseServerEndpoint(canonical, session.endpoint, error)) {
        return false;
    }
    session.timeouts = ClampTimeouts(kProbeTimeouts);
    // The platform part directly: the session opener would refuse plain HTTP under the lock.
    if (!OpenHttpConnection(session, error)) {
        return false;
    }
    HttpRequest request;
    request.endpointPath = L"/list_projects";
    request.bodyLimit = kProbeBodyLimit;
    HttpResult result;
    const bool completed = ExecuteHttpRequest(session, request, result, error);
    return completed || result.status != 0;
}

}  // namespace tavrin
