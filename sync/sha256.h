#pragma once

#include <atomic>
#include <memory>
#include <string>
#include <string_view>

#include "sync/folder_handle.h"

namespace tavrin {

// The lower-case hex SHA-256 of a file's contents (64 characters). Each thread keeps its own
// hashing state and 64 KiB read buffer for its whole life, so threads hash without locks and
// nothing is set up again per file. False with a translated text when the file cannot be
// read or the hashing fails.
bool Sha256File(std::wstring_view path, std::string& hexDigest, std::wstring& errorText);

// The same for a file the caller has opened. The cancel flag, when given, is read before
// every block; a raised flag fails the hashing with "error.sync_cancelled".
bool Sha256OfOpenFile(const NativeHandle& file, const std::atomic<bool>* cancelFlag,
                      std::string& hexDigest, std::wstring& errorText);

// A SHA-256 over bytes as they arrive, so that a download is hashed while it is written
// rather than read back afterwards. Each object has its own state.
class Sha256Stream {
public:
    Sha256Stream();
    ~Sha256Stream();
    Sha256Stream(const Sha256Stream&) = delete;
    Sha256Stream& operator=(const Sha256Stream&) = delete;

    // False once anything failed; the digest is then not to be trusted.
    bool Update(const void* data, std::size_t size);
    bool Finish(std::string& hexDigest);

private:
    struct State;
    std::unique_ptr<State> state_;
    bool ok_ = true;
};

// Makes sure the calling thread's hashing state is ready.
bool OpenSha256Provider(std::wstring& errorText);

// Bytes as lower-case hex.
std::string ToLowerHex(const unsigned char* bytes, std::size_t count);

}  // namespace tavrin
