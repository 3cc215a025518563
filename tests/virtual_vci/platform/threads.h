/// \file
/// The threads of this process.
#ifndef TESTS_VIRTUAL_VCI_PLATFORM_THREADS_H_
#define TESTS_VIRTUAL_VCI_PLATFORM_THREADS_H_

#include <cstddef>

namespace virtual_vci_test {

/// How many there are. A thread that has been joined may count for a moment more.
std::size_t ThreadCount();

}  // namespace virtual_vci_test

#endif  // TESTS_VIRTUAL_VCI_PLATFORM_THREADS_H_
