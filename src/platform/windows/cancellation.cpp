// Threads of this system are not cancelled; one that is terminated unwinds nothing.

#include "platform/cancellation.h"

namespace passbridge::platform {

bool IsThreadEnding() noexcept { return false; }

CancellationGuard::CancellationGuard() noexcept = default;
CancellationGuard::~CancellationGuard() noexcept(false) {}
CancellationPoint::CancellationPoint() noexcept = default;
CancellationPoint::~CancellationPoint() = default;

}  // namespace passbridge::platform
