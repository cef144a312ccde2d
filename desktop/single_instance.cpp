#include "desktop/single_instance.h"

namespace tavrin {

std::uint32_t ShowMainWindowMessage = 0;

SingleInstance::SingleInstance() = default;

SingleInstance::~SingleInstance() = default;

}  // namespace tavrin
