#ifndef PASSBRIDGE_TESTS_INTEGRATION_CHANNELS_FIXTURE_H_
#define PASSBRIDGE_TESTS_INTEGRATION_CHANNELS_FIXTURE_H_

#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

#include "library_fixture.h"

namespace passbridge::test {

using Bytes = std::vector<std::uint8_t>;
/// What is told of a message: its status and its bytes.
using Seen = std::pair<j2534_ulong, Bytes>;

Bytes Join(Bytes one, const Bytes& other);

/// VCI 4711, open, without the broadcasts of its ECUs, and whatever channels a test connects.
class ChannelsFixture : public LibraryFixture {
 protected:
  explicit ChannelsFixture(UNUM32 clock = VVCI_CLOCK_INSTANT);
  ~ChannelsFixture() override;

  j2534_ulong Connect(j2534_ulong protocol, j2534_ulong flags = 0, j2534_ulong pins = 0,
                      j2534_ulong bitRate = 500000);
  long StartFilter(j2534_ulong on, j2534_ulong type, PASSTHRU_MSG mask, PASSTHRU_MSG pattern,
                   PASSTHRU_MSG* flow);
  /// With a time-out.
  long Send(j2534_ulong on, std::vector<PASSTHRU_MSG> messages, j2534_ulong* sent = nullptr);
  std::optional<PASSTHRU_MSG> Next(j2534_ulong on, j2534_ulong timeout = 5000);
  /// The next messages, as many as come.
  std::vector<Seen> See(j2534_ulong on, std::size_t count);
};

}  // namespace passbridge::test

#endif  // PASSBRIDGE_TESTS_INTEGRATION_CHANNELS_FIXTURE_H_
