// The host the C exports report through, chosen by the build: Win32 in the DLL, the console
// host in the Linux library.
#pragma once

#include "base/host.h"

namespace vellmark {

// The host that the C exports use (Win32 in the DLL, the console host in the .so).
Host& exportHost();

}  // namespace vellmark
