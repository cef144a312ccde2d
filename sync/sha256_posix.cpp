// Linux side of file hashing: OpenSSL's EVP SHA-256 (SHA-NI where the processor has it),
// reading with read(2) into the thread's buffer.
#include <fcntl.h>
#include <openssl/evp.h>
#include <unistd.h>

#include <cerrno>
#include <memory>

#include "i18n/translator.h"
#include "i18n/utf8_conversion.h"
#include "net/system_error.h"
#include "sync/sha256.h"

namespace tavrin {
namespace {

constexpr std::size_t kBufferSize = 65536;

// The thread's read buffer, aligned for the hashing instructions.
struct alignas(32) ReadBuffer {
    unsigned char bytes[kBufferSize];
};

struct HashingState {
    EVP_MD_CTX* context = nullptr;
    std::unique_ptr<ReadBuffer> buffer;
    ~HashingState() {
        if (context != nullptr) {
            EVP_MD_CTX_free(context);
        }
    }
};

HashingState& ThreadState() {
    thread_local HashingState state;
    return state;
}

}  // namespace

bool OpenSha256Provider(std::wstring& errorText) {
    HashingState& state = ThreadState();
    if (state.context != nullptr) {
        return true;
    }
    state.context = EVP_MD_CTX_new();
    if (state.context == nullptr) {
        errorText = TrWide("error.sha_provider_open_failed");
        return false;
    }
    state.buffer = std::make_unique<ReadBuffer>();
    return true;
}

bool Sha256File(std::wstring_view path, std::string& hexDigest, std::wstring& errorText) {
    const NativeHandle file(::open(WideToUtf8(path).c_str(), O_RDONLY | O_CLOEXEC));
    if (!file.IsOpen()) {
        errorText =
            FormatSystemError("error.sha_file_open_failed", static_cast<std::uint32_t>(errno));
        return false;
    }
    return Sha256OfOpenFile(file, nullptr, hexDigest, errorText);
}

bool Sha256OfOpenFile(const NativeHandle& file, const std::atomic<bool>* cancelFlag,
                      std::string& hexDigest, std::wstring& errorText) {
    if (!OpenSha256Provider(errorText)) {
        return false;
    }
    HashingState& state = ThreadState();
    if (EVP_DigestInit_ex(state.context, EVP_sha256(), nullptr) != 1) {
        errorText = TrWide("error.sha_create_hash_failed");
        return false;
    }
    const int descriptor = static_cast<int>(file.Get());
    ::posix_fadvise(descriptor, 0, 0, POSIX_FADV_SEQUENTIAL);
    while (true) {
        if (cancelFlag != nullptr && cancelFlag->load()) {
            errorText = TrWide("error.sync_cancelled");
            return false;
        }
        const ssize_t count = ::read(descriptor, state.buffer->bytes, kBufferSize);
        if (count < 0) {
            if (errno == EINTR) {
                continue;
            }
            errorText =
                FormatSystemError("error.sha_file_read_failed", static_cast<std::uint32_t>(errno));
            return false;
        }
        if (count == 0) {
            break;
        }
        if (EVP_DigestUpdate(state.context, state.buffer->bytes, static_cast<std::size_t>(count)) !=
            1) {
            errorText = TrWide("error.sha_hash_data_failed");
            return false;
        }
    }
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    if (EVP_DigestFinal_ex(state.context, digest, &length) != 1) {
        errorText = TrWide("error.sha_finish_failed");
        return false;
    }
    hexDigest = ToLowerHex(digest, length);
    return true;
}

struct Sha256Stream::State {
    EVP_MD_CTX* context = EVP_MD_CTX_new();
    ~State() { EVP_MD_CTX_free(context); }
};

Sha256Stream::Sha256Stream() : state_(std::make_unique<State>()) {
    ok_ = state_->context != nullptr &&
          EVP_DigestInit_ex(state_->context, EVP_sha256(), nullptr) == 1;
}

Sha256Stream::~Sha256Stream() = default;

bool Sha256Stream::Update(const void* data, std::size_t size) {
    ok_ = ok_ && EVP_DigestUpdate(state_->context, data, size) == 1;
    return ok_;
}

bool Sha256Stream::Finish(std::string& hexDigest) {
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    ok_ = ok_ && EVP_DigestFinal_ex(state_->context, digest, &length) == 1;
    if (ok_) {
        hexDigest = ToLowerHex(digest, length);
    }
    return ok_;
}

}  // namespace tavrin
