// J2534 statuses as texts and as exceptions.
#ifndef PASSBRIDGE_TOOLS_CLIENT_STATUS_H_
#define PASSBRIDGE_TOOLS_CLIENT_STATUS_H_

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

namespace passbridge::tool {

// "ERR_TIMEOUT (0x09)"; a status that the standard doesn't know is "unknown status (0x2A)".
std::string DescribeStatus(std::uint32_t status);

// A J2534 function that failed. what() has the function, the status and the library's own text.
class StatusError : public std::runtime_error {
 public:
  StatusError(std::string_view function, std::uint32_t status, std::string_view lastErrorText);

  std::uint32_t Status() const { return status_; }

 private:
  std::uint32_t status_;
};

}  // namespace passbridge::tool

#endif  // PASSBRIDGE_TOOLS_CLIENT_STATUS_H_
