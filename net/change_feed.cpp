#include "net/change_feed.h"

#include <algorithm>
#include <memory>

#include "i18n/placeholders.h"
#include "i18n/translator.h"
#include "i18n/unicode_trim.h"
#include "i18n/utf8_conversion.h"
#include "manifest/json_document.h"
#include "net/http_request.h"
#include "net/percent_encoding.h"

namespace tavrin {
namespace {

constexpr double kTwoTo63 = 9223372036854775808.0;
constexpr double kTwoTo64 = 18446744073709551616.0;

int ClampWait(int waitSeconds) {
    return std::clamp(waitSeconds, 0, 120);
}

// The polling thread's open connection, kept for the next poll of the same server.
struct CachedConnection {
    std::wstring canonicalUrl;
    std::wstring clientId;
    std::unique_ptr<HttpSession> session;
};

CachedConnection& ThreadConnection() {
    thread_local CachedConnection cached;
    return cached;
}

bool OpenPollSession(const std::wstring& canonicalUrl, std::wstring_view clientId, int receiveMs,
                     std::wstring& errorText) {
    CachedConnection& cached = ThreadConnection();
    cached.session.reset();
    auto session = std::make_unique<HttpSession>();
    if (!ParseServerEndpoint(canonicalUrl, session->endpoint, errorText)) {
        return false;
    }
    session->clientId = clientId;
    if (!OpenHttpSession(*session, errorText, 2000, 2500, 4000, receiveMs)) {
        return false;
    }
    cached = {canonicalUrl, std::wstring(clientId), std::move(session)};
    return true;
}

std::uint64_t RevisionFrom(const nlohmann::json& value, std::uint64_t previous) {
    if (value.is_number_unsigned()) {
        return value.get<std::uint64_t>();
    }
    if (value.is_number_integer()) {
        const auto number = value.get<std::int64_t>();
        return number < 0 ? previous : static_cast<std::uint64_t>(number);
    }
    if (value.is_number_float()) {
        const double number = value.get<double>();
        if (!(number >= 0.0) || number >= kTwoTo64) {
            return previous;
        }
        return number >= kTwoTo63
                   ? static_cast<std::uint64_t>(number - kTwoTo63) + (std::uint64_t{1} << 63)
                   : static_cast<std::uint64_t>(number);
    }
    return previous;
}

bool BooleanMember(const nlohmann::json& object, const char* name) {
    const auto it = object.find(name);
    return it != object.end() && it->is_boolean() && it->get<bool>();
}

bool PollOnce(HttpSession& session, const std::wstring& path, ChangeFeedResult& result,
              std::wstring& errorText, const std::atomic<bool>* cancelFlag) {
    std::string body;
    HttpRequest request;
    request.endpointPath = path;
    request.outBody = &body;
    request.cancelFlag = cancelFlag;
    HttpResult exchange;
    if (!ExecuteHttpRequest(session, request, exchange, errorText)) {
        return false;
    }
    if (exchange.status != 200) {
        errorText =
            FillPlaceholders(TrWide("error.changes_http"), {std::to_wstring(exchange.status)});
        return false;
    }
    return ParseChangeFeed(body, result, errorText);
}

}  // namespace

int ChangeFeedReceiveTimeoutMs(int waitSeconds) {
    return ClampWait(waitSeconds) * 1000 + 2500;
}

std::wstring ChangeFeedPath(std::uint64_t sinceRevision, int waitSeconds,
                            const std::vector<std::string>& projects) {
    std::wstring path = L"/changes?since=" + std::to_wstring(sinceRevision) + L"&wait=" +
                        std::to_wstring(ClampWait(waitSeconds));
    if (!projects.empty()) {
        path += L"&projects=";
        for (std::size_t i = 0; i < projects.size(); ++i) {
            path += (i > 0 ? L"," : L"") + Utf8ToWide(PercentEncode(projects[i]));
        }
    }
    return path;
}

bool ParseChangeFeed(std::string_view body, ChangeFeedResult& result, std::wstring& errorText) {
    nlohmann::json document;
    std::string parseError;
    if (!ParseJsonDocument(body, document, parseError) || !document.is_object()) {
        errorText = FillPlaceholders(
            TrWide("error.changes_json_invalid"),
            {Utf8ToWide(parseError.empty() ? std::string(kJsonNoError) : parseError)});
        return false;
    }
    if (const auto revision = document.find("revision"); revision != document.end()) {
        result.revision = RevisionFrom(*revision, result.revision);
    }
    result.hasChanges = BooleanMember(document, "has_changes");
    result.fullResync = BooleanMember(document, "full_resync");
    result.projects.clear();
    if (const auto projects = document.find("projects");
        projects != document.end() && projects->is_array()) {
        for (const nlohmann::json& name : *projects) {
            if (name.is_string()) {
                std::string trimmed = TrimUnicodeSpaces(name.get<std::string>());
                if (!trimmed.empty()) {
                    result.projects.insert(std::move(trimmed));
                }
            }
        }
    }
    result.passwordRequired.clear();
    if (const auto required = document.find("project_password_required");
        required != document.end() && required->is_object()) {
        for (const auto& item : required->items()) {
            result.passwordRequired[TrimUnicodeSpaces(item.key())] =
                item.value().is_boolean() && item.value().get<bool>();
        }
    }
    result.retryAfterMs = 0;
    if (const auto retry = document.find("retry_after_ms");
        retry != document.end() && retry->is_number()) {
        result.retryAfterMs = RevisionFrom(*retry, 0);
    }
    return true;
}

bool PollChanges(std::wstring_view serverText, std::wstring_view clientId,
                 std::uint64_t sinceRevision, int waitSeconds,
                 const std::vector<std::string>& projects, ChangeFeedResult& result,
                 std::wstring& errorText, const std::atomic<bool>* cancelFlag) {
    if (cancelFlag != nullptr && cancelFlag->load()) {
        errorText = TrWide("error.sync_cancelled");
        return false;
    }
    std::wstring canonical;
    if (!NormalizeServerUrlWithPolicy(serverText, canonical, errorText)) {
        return false;
    }
    const int receiveMs = ChangeFeedReceiveTimeoutMs(waitSeconds);
    const std::wstring path = ChangeFeedPath(sinceRevision, waitSeconds, projects);
    CachedConnection& cached = ThreadConnection();
    const bool reusable = cached.session && cached.canonicalUrl == canonical &&
                          cached.clientId == clientId &&
                          cached.session->timeouts.receiveMs == receiveMs;
    if (!reusable && !OpenPollSession(canonical, clientId, receiveMs, errorText)) {
        return false;
    }
    if (PollOnce(*cached.session, path, result, errorText, cancelFlag)) {
        return true;
    }
    if (cancelFlag != nullptr && cancelFlag->load()) {
        return false;
    }
    // The kept connection may have gone stale (the server closed it): once more, fresh.
    if (!OpenPollSession(canonical, clientId, receiveMs, errorText)) {
        return false;
    }
    return PollOnce(*cached.session, path, result, errorText, cancelFlag);
}

void ReleaseChangeFeedConnection() {
    ThreadConnection() = CachedConnection{};
}

}  // namespace tavrin
