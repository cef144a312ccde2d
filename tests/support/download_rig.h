#pragma once

#include <filesystem>
#include <string>

#include "i18n/utf8_conversion.h"
#include "net/http_session.h"
#include "sync/download.h"
#include "tests/support/content_server.h"

namespace tavrin::test {

// A content server and a game folder with a download context and a worker's session ready,
// for tests of single downloads. Plain HTTP is allowed while it lives.
struct DownloadRig {
    explicit DownloadRig(const std::filesystem::path& gameFolder)
        : previousLock(plainHttpAllowed.exchange(true)) {
        context.endpoint = {kSchemeHttp, L"127.0.0.1", content.Http().Port(), L""};
        session.endpoint = context.endpoint;
        std::wstring error;
        opened = OpenHttpSession(session, error, kDownloadTimeouts) &&
                 tree.Open(PathToWide(gameFolder), error);
        context.tree = &tree;
    }
    ~DownloadRig() { plainHttpAllowed = previousLock; }
    DownloadRig(const DownloadRig&) = delete;
    DownloadRig& operator=(const DownloadRig&) = delete;

    bool Download(const SyncWorkItem& item, std::wstring& error) {
        std::uint64_t bytes = 0;
        return DownloadFile(item, context, session, error, bytes);
    }

    bool previousLock;
    ContentServer content;
    TargetTree tree;
    DownloadContext context;
    HttpSession session;
    bool opened = false;
};

}  // namespace tavrin::test
