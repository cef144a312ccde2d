#pragma once

#ifdef _WIN32
#include "tests/support/wine.h"
#endif

namespace tavrin::test {

// Wine's WinHttpCloseHandle does not end a synchronous receive that another thread waits in
// (measured: a held long poll ran its full 10 s); Windows and libcurl end it at once.
inline bool PendingReceivesCannotBeEnded() {
#ifdef _WIN32
    return RunningUnderWine();
#else
    return false;
#endif
}

}  // namespace tavrin::test
