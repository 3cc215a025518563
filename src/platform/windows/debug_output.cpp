#include "platform/debug_output.h"

#include <windows.h>

#include <algorithm>
#include <array>
#include <string>

namespace passbridge::platform {

void DebugOutput(std::string_view line) noexcept {
  const DWORD savedError = ::GetLastError();
  std::array<char, 1024> text;  // the usual line needs no memory
  if (line.size() < text.size()) {
    *std::copy(line.begin(), line.end(), text.begin()) = '\0';
    ::OutputDebugStringA(text.data());
  } else {
    try {
      ::OutputDebugStringA(std::string(line).c_str());
    } catch (...) {  // out of memory: the line is lost
    }
  }
  ::SetLastError(savedError);
}

void ResetDebugOutput() noexcept {}

}  // namespace passbridge::platform
