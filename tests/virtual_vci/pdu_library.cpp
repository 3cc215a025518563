#include "tests/virtual_vci/pdu_library.h"

#include <cstdlib>

#include "tests/virtual_vci/platform/loader.h"

namespace virtual_vci_test {

PduLibrary::PduLibrary(const std::string& path) : library_(LoadLibraryFile(path.c_str())) {
  if (library_ == nullptr) return;
#define PDU_TEST_BIND(name, ...) name = reinterpret_cast<PFN_##name>(FindFunction(library_, #name));
  PASSBRIDGE_PDU_FUNCTIONS(PDU_TEST_BIND)
  VIRTUAL_VCI_CONTROL_FUNCTIONS(PDU_TEST_BIND)
#undef PDU_TEST_BIND
}

PduLibrary::~PduLibrary() {
  if (library_ != nullptr) UnloadLibrary(library_);
}

std::string LibraryPath() {
  const char* path = std::getenv("VIRTUAL_VCI_LIBRARY");
  return path == nullptr ? "" : path;
}

}  // namespace virtual_vci_test
