/// \file
/// A D-PDU API library loaded at run time: its functions by their names.
#ifndef TESTS_VIRTUAL_VCI_PDU_LIBRARY_H_
#define TESTS_VIRTUAL_VCI_PDU_LIBRARY_H_

#include <string>

#include "passbridge/d_pdu_api.h"
#include "passbridge/d_pdu_functions.h"
#include "virtual_vci/control.h"

namespace virtual_vci_test {

/// Loads in the constructor, unloads in the destructor. A function that is missing is null.
class PduLibrary {
 public:
  explicit PduLibrary(const std::string& path);
  ~PduLibrary();
  PduLibrary(const PduLibrary&) = delete;
  PduLibrary& operator=(const PduLibrary&) = delete;

  bool Loaded() const { return library_ != nullptr; }

#define PDU_TEST_MEMBER(name, ...) PFN_##name name = nullptr;
  PASSBRIDGE_PDU_FUNCTIONS(PDU_TEST_MEMBER)
  VIRTUAL_VCI_CONTROL_FUNCTIONS(PDU_TEST_MEMBER)
#undef PDU_TEST_MEMBER

 private:
  void* library_;
};

/// The library under test: what the environment variable VIRTUAL_VCI_LIBRARY names.
std::string LibraryPath();

}  // namespace virtual_vci_test

#endif  // TESTS_VIRTUAL_VCI_PDU_LIBRARY_H_
