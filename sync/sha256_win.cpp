// Windows side of file hashing: CNG's SHA256 provider, opened once per thread, and ReadFile
// into the thread's buffer.
#include <windows.h>

#include <bcrypt.h>

#include <memory>
#include <vector>

#include "i18n/translator.h"
#include "net/system_error.h"
#include "sync/sha256.h"

namespace tavrin {
namespace {

constexpr DWORD kBufferSize = 65536;

// The thread's read buffer, aligned for the hashing instructions.
struct alignas(32) ReadBuffer {
    unsigned char bytes[kBufferSize];
};

struct HashingState {
    BCRYPT_ALG_HANDLE algorithm = nullptr;
    DWORD objectLength = 0;
    DWORD digestLength = 0;
    std::unique_ptr<ReadBuffer> buffer;
    ~HashingState() {
        if (algorithm != nullptr) {
            BCryptCloseAlgorithmProvider(algorithm, 0);
        }
    }
};

HashingState& ThreadState() {
    thread_local HashingState state;
    return state;
}

bool ReadProperty(BCRYPT_ALG_HANDLE algorithm, LPCWSTR name, DWORD& value) {
    ULONG written = 0;
    return BCRYPT_SUCCESS(BCryptGetProperty(algorithm, name, reinterpret_cast<PUCHAR>(&value),
                                            sizeof value, &written, 0));
}

struct HashHandle {
    BCRYPT_HASH_HANDLE handle = nullptr;
    ~HashHandle() {
        if (handle != nullptr) {
            BCryptDestroyHash(handle);
        }
    }
};

}  // namespace

bool OpenSha256Provider(std::wstring& errorText) {
    HashingState& state = ThreadState();
    if (state.algorithm != nullptr) {
        return true;
    }
    if (!BCRYPT_SUCCESS(
            BCryptOpenAlgorithmProvider(&state.algorithm, BCRYPT_SHA256_ALGORITHM, nullptr, 0))) {
        state.algorithm = nullptr;
        errorText = TrWide("error.sha_provider_open_failed");
        return false;
    }
    const char* failedKey = nullptr;
    if (!ReadProperty(state.algorithm, BCRYPT_OBJECT_LENGTH, state.objectLength)) {
        failedKey = "error.sha_object_length_failed";
    } else if (!ReadProperty(state.algorithm, BCRYPT_HASH_LENGTH, state.digestLength)) {
        failedKey = "error.sha_hash_length_failed";
    }
    if (failedKey != nullptr) {
        BCryptCloseAlgorithmProvider(state.algorithm, 0);
        state.algorithm = nullptr;
        errorText = TrWide(failedKey);
        return false;
    }
    state.buffer = std::make_unique<ReadBuffer>();
    return true;
}

bool Sha256File(std::wstring_view path, std::string& hexDigest, std::wstring& errorText) {
    const NativeHandle file(reinterpret_cast<std::intptr_t>(
        CreateFileW(std::wstring(path).c_str(), GENERIC_READ,
                    FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                    FILE_ATTRIBUTE_NORMAL, nullptr)));
    if (!file.IsOpen()) {
        const DWORD code = GetLastError();
        errorText = FormatSystemError("error.sha_file_open_failed", code);
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
    std::vector<unsigned char> object(state.objectLength);
    std::vector<unsigned char> digest(state.digestLength);
    HashHandle hash;
    if (!BCRYPT_SUCCESS(BCryptCreateHash(state.algorithm, &hash.handle, object.data(),
                                         static_cast<ULONG>(object.size()), nullptr, 0, 0))) {
        errorText = TrWide("error.sha_create_hash_failed");
        return false;
    }
    const auto handle = reinterpret_cast<HANDLE>(file.Get());
    while (true) {
        if (cancelFlag != nullptr && cancelFlag->load()) {
            errorText = TrWide("error.sync_cancelled");
            return false;
        }
        DWORD read = 0;
        if (!ReadFile(handle, state.buffer->bytes, kBufferSize, &read, nullptr)) {
            const DWORD code = GetLastError();
            errorText = FormatSystemError("error.sha_file_read_failed", code);
            return false;
        }
        if (read == 0) {
            break;
        }
        if (!BCRYPT_SUCCESS(BCryptHashData(hash.handle, state.buffer->bytes, read, 0))) {
            errorText = TrWide("error.sha_hash_data_failed");
            return false;
        }
    }
    if (!BCRYPT_SUCCESS(
            BCryptFinishHash(hash.handle, digest.data(), static_cast<ULONG>(digest.size()), 0))) {
        errorText = TrWide("error.sha_finish_failed");
        return false;
    }
    hexDigest = ToLowerHex(digest.data(), digest.size());
    return true;
}

struct Sha256Stream::State {
    std::vector<unsigned char> object;
    std::vector<unsigned char> digest;
    HashHandle hash;
};

Sha256Stream::Sha256Stream() : state_(std::make_unique<State>()) {
    std::wstring error;
    ok_ = OpenSha256Provider(error);
    if (ok_) {
        const HashingState& provider = ThreadState();
        state_->object.resize(provider.objectLength);
        state_->digest.resize(provider.digestLength);
        ok_ = BCRYPT_SUCCESS(
            BCryptCreateHash(provider.algorithm, &state_->hash.handle, state_->object.data(),
                             static_cast<ULONG>(state_->object.size()), nullptr, 0, 0));
    }
}

Sha256Stream::~Sha256Stream() = default;

bool Sha256Stream::Update(const void* data, std::size_t size) {
    // CNG takes at most 4 GiB a call.
    const auto* bytes = static_cast<const unsigned char*>(data);
    while (ok_ && size > 0) {
        const ULONG chunk = size > 0x40000000 ? 0x40000000 : static_cast<ULONG>(size);
        ok_ = BCRYPT_SUCCESS(
            BCryptHashData(state_->hash.handle, const_cast<unsigned char*>(bytes), chunk, 0));
        bytes += chunk;
        size -= chunk;
    }
    return ok_;
}

bool Sha256Stream::Finish(std::string& hexDigest) {
    ok_ = ok_ && BCRYPT_SUCCESS(BCryptFinishHash(state_->hash.handle, state_->digest.data(),
                                                 static_cast<ULONG>(state_->digest.size()), 0));
    if (ok_) {
        hexDigest = ToLowerHex(state_->digest.data(), state_->digest.size());
    }
    return ok_;
}

}  // namespace tavrin
