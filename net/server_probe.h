#pragma once

#include <string_view>

namespace tavrin {

// Asks a server address typed in the settings whether anything answers there: a GET of its
// "/list_projects" with every wait at 2500 ms. Any answer counts, whatever its status; no
// answer (refused, timed out, a TLS handshake that fails) does not. Plain HTTP is tried even
// while the HTTP lock is on, so that the user can be told the lock is what stands in the way.
bool ProbeServer(std::wstring_view url);

}  // namespace tavrin
