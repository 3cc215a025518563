#include <filesystem>
#include <iterator>

#include "tests/virtual_vci/platform/threads.h"

namespace virtual_vci_test {

std::size_t ThreadCount() {
  const std::filesystem::directory_iterator tasks("/proc/self/task");
  return static_cast<std::size_t>(std::distance(begin(tasks), end(tasks)));
}

}  // namespace virtual_vci_test
