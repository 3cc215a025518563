#include "channels_fixture.h"

namespace passbridge::test {

Bytes Join(Bytes one, const Bytes& other) {
  one.insert(one.end(), other.begin(), other.end());
  return one;
}

ChannelsFixture::ChannelsFixture(UNUM32 clock) {
  vci.Configure(nullptr, clock);
  device = Open();
  vci.SetCyclic(static_cast<UNUM32>(device), 0);
}

ChannelsFixture::~ChannelsFixture() { Close(); }

j2534_ulong ChannelsFixture::Connect(j2534_ulong protocol, j2534_ulong flags, j2534_ulong pins,
                                     j2534_ulong bitRate) {
  j2534_ulong id = 0;
  EXPECT_EQ(library.PassThruConnect(device, protocol, flags, bitRate, &id), long{STATUS_NOERROR})
      << protocol << ": " << LastError();
  if (pins != 0) {
    EXPECT_EQ(SetConfig(id, J1962_PINS, pins), long{STATUS_NOERROR}) << LastError();
  }
  return id;
}

long ChannelsFixture::StartFilter(j2534_ulong on, j2534_ulong type, PASSTHRU_MSG mask,
                                  PASSTHRU_MSG pattern, PASSTHRU_MSG* flow) {
  j2534_ulong id = 0;
  return library.PassThruStartMsgFilter(on, type, &mask, &pattern, flow, &id);
}

long ChannelsFixture::Send(j2534_ulong on, std::vector<PASSTHRU_MSG> messages, j2534_ulong* sent) {
  j2534_ulong count = 0;
  channel = on;
  return Write(std::move(messages), 5000, sent != nullptr ? sent : &count);
}

std::optional<PASSTHRU_MSG> ChannelsFixture::Next(j2534_ulong on, j2534_ulong timeout) {
  channel = on;
  std::vector<PASSTHRU_MSG> one(1);
  Read(one, timeout);
  return one.empty() ? std::nullopt : std::optional(one[0]);
}

std::vector<Seen> ChannelsFixture::See(j2534_ulong on, std::size_t count) {
  std::vector<Seen> seen;
  while (seen.size() < count) {
    const auto message = Next(on);
    if (!message) break;
    seen.emplace_back(message->RxStatus, Bytes(message->Data, message->Data + message->DataSize));
  }
  return seen;
}

}  // namespace passbridge::test
