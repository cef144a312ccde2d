#pragma once

// Lets a test make the system refuse new threads, for real: the process's address space is
// capped just above what it uses, so the next thread's stack cannot be mapped. Only where the
// system has such a cap and no sanitizer reserves address space of its own.
#if !defined(_WIN32) && !defined(__SANITIZE_ADDRESS__)
#include <sys/resource.h>
#include <unistd.h>

#include <cstdio>
#define TAVRIN_CAN_LIMIT_ADDRESS_SPACE 1
#endif

namespace tavrin::test {

#ifdef TAVRIN_CAN_LIMIT_ADDRESS_SPACE
class AddressSpaceLimit {
public:
    // Caps the address space at what is mapped now plus `marginBytes`, well below a thread
    // stack (8 MiB by default here).
    explicit AddressSpaceLimit(unsigned long marginBytes = 4UL << 20U) {
        getrlimit(RLIMIT_AS, &previous_);
        unsigned long pages = 0;
        if (std::FILE* statm = std::fopen("/proc/self/statm", "r")) {
            if (std::fscanf(statm, "%lu", &pages) != 1) {
                pages = 0;
            }
            std::fclose(statm);
        }
        if (pages == 0) {
            return;
        }
        rlimit capped = previous_;
        capped.rlim_cur = pages * static_cast<unsigned long>(sysconf(_SC_PAGESIZE)) + marginBytes;
        active_ = setrlimit(RLIMIT_AS, &capped) == 0;
    }
    ~AddressSpaceLimit() { Lift(); }
    AddressSpaceLimit(const AddressSpaceLimit&) = delete;
    AddressSpaceLimit& operator=(const AddressSpaceLimit&) = delete;

    bool Active() const { return active_; }
    void Lift() {
        if (active_) {
            setrlimit(RLIMIT_AS, &previous_);
            active_ = false;
        }
    }

private:
    rlimit previous_{};
    bool active_ = false;
};
#endif

// Why a test that needs the cap is skipped where it cannot be set.
inline constexpr const char* kNoAddressSpaceLimit =
    "no thread can be refused here on purpose: Windows (and Wine) have no per-process "
    "address-space cap, and a sanitizer build reserves terabytes of address space itself";

}  // namespace tavrin::test
