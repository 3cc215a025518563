// Windows' sockets as libgpg-error imports them, for logging over a network, which nobody here asks
// it to do. All of them fail: so the libraries need no ws2_32.dll, whose start-up the 32-bit half
// of some Wine versions does not survive.

#include <cstdint>

#ifdef __i386__
#define PASSBRIDGE_IMPORT(name, bytes) "__imp__" #name "@" #bytes
#else
#define PASSBRIDGE_IMPORT(name, bytes) "__imp_" #name
#endif

// The cell through which a caller finds the function, as the import library would have it.
#define PASSBRIDGE_NO_SOCKET(name, bytes, ...)                            \
  extern std::intptr_t(__stdcall* const imp_##name)(__VA_ARGS__) __asm__( \
      PASSBRIDGE_IMPORT(name, bytes));                                    \
  std::intptr_t(__stdcall* const imp_##name)(__VA_ARGS__) = &Fail<__VA_ARGS__>;

namespace passbridge::platform {

namespace {

using Socket = std::uintptr_t;

template <typename... Arguments>
std::intptr_t __stdcall Fail(Arguments... /*ignored*/) {
  return -1;  // SOCKET_ERROR, INVALID_SOCKET, INADDR_NONE
}

}  // namespace

PASSBRIDGE_NO_SOCKET(closesocket, 4, Socket)
PASSBRIDGE_NO_SOCKET(connect, 12, Socket, const void*, int)
PASSBRIDGE_NO_SOCKET(htons, 4, std::uint32_t)
PASSBRIDGE_NO_SOCKET(inet_addr, 4, const char*)
PASSBRIDGE_NO_SOCKET(ioctlsocket, 12, Socket, long, void*)
PASSBRIDGE_NO_SOCKET(recv, 16, Socket, void*, int, int)
PASSBRIDGE_NO_SOCKET(send, 16, Socket, const void*, int, int)
PASSBRIDGE_NO_SOCKET(socket, 12, int, int, int)

}  // namespace passbridge::platform
