#include <gtest/gtest.h>

#include <array>
#include <functional>
#include <string>
#include <vector>

#include "library_fixture.h"

namespace passbridge::test {
namespace {

using platform::testing::Pages;
using platform::testing::Protection;

struct UnreadablePointer : LibraryFixture {
  UnreadablePointer() { OpenAndConnect(); }
  ~UnreadablePointer() override { Close(); }
};

/// One pointer argument of one function; `call` passes the pointer to it, and good arguments else.
struct Argument {
  const char* what;
  std::function<long(void*)> call;
};

TEST_F(UnreadablePointer, InAnyArgumentIsANullParameter) {
  Pages pages(3);
  pages.Protect(0, Protection::None);
  pages.Protect(2, Protection::None);
  PASSTHRU_MSG message = CanMessage(0x7E0, {1});
  std::array<char, J2534_TEXT_SIZE> text{};
  j2534_ulong cell = 0;
  j2534_ulong count = 1;
  const std::vector<Argument> arguments{
      {"open, device id",
       [&](void* p) {
    return library.PassThruOpen(const_cast<char*>("J2534-2:SN='4712' CXN='WIRELESS'"),
                                static_cast<j2534_ulong*>(p));
       }},
      {"connect, channel id",
       [&](void* p) {
    return library.PassThruConnect(device, CAN_PS, 0, 500000, static_cast<j2534_ulong*>(p));
       }},
      {"read, messages",
       [&](void* p) {
    return library.PassThruReadMsgs(channel, static_cast<PASSTHRU_MSG*>(p), &(count = 1), 0);
       }},
      {"read, count",
       [&](void* p) {
    return library.PassThruReadMsgs(channel, &message, static_cast<j2534_ulong*>(p), 0);
       }},
      {"write, messages",
       [&](void* p) {
    return library.PassThruWriteMsgs(channel, static_cast<PASSTHRU_MSG*>(p), &(count = 1), 0);
       }},
      {"write, count",
       [&](void* p) {
    return library.PassThruWriteMsgs(channel, &message, static_cast<j2534_ulong*>(p), 0);
       }},
      {"periodic message, message",
       [&](void* p) {
    return library.PassThruStartPeriodicMsg(channel, static_cast<PASSTHRU_MSG*>(p), &cell, 100);
       }},
      {"periodic message, id",
       [&](void* p) {
    return library.PassThruStartPeriodicMsg(channel, &message, static_cast<j2534_ulong*>(p), 100);
       }},
      {"filter, mask",
       [&](void* p) {
    return library.PassThruStartMsgFilter(channel, PASS_FILTER, static_cast<PASSTHRU_MSG*>(p),
                                          &message, nullptr, &cell);
       }},
      {"filter, pattern",
       [&](void* p) {
    return library.PassThruStartMsgFilter(channel, PASS_FILTER, &message,
                                          static_cast<PASSTHRU_MSG*>(p), nullptr, &cell);
       }},
      {"filter, id",
       [&](void* p) {
    return library.PassThruStartMsgFilter(channel, PASS_FILTER, &message, &message, nullptr,
                                          static_cast<j2534_ulong*>(p));
       }},
      {"version, firmware",
       [&](void* p) {
    return library.PassThruReadVersion(device, static_cast<char*>(p), text.data(), text.data());
       }},
      {"version, DLL",
       [&](void* p) {
    return library.PassThruReadVersion(device, text.data(), static_cast<char*>(p), text.data());
       }},
      {"version, API",
       [&](void* p) {
    return library.PassThruReadVersion(device, text.data(), text.data(), static_cast<char*>(p));
       }},
      {"last error, text",
       [&](void* p) { return library.PassThruGetLastError(static_cast<char*>(p)); }},
      {"ioctl READ_VBATT, output",
       [&](void* p) { return library.PassThruIoctl(device, READ_VBATT, nullptr, p); }},
      {"ioctl READ_CABLE_ID, output",
       [&](void* p) { return library.PassThruIoctl(device, READ_CABLE_ID, nullptr, p); }},
      {"ioctl GET_CONFIG, input",
       [&](void* p) { return library.PassThruIoctl(channel, GET_CONFIG, p, nullptr); }},
      {"ioctl SET_CONFIG, input",
       [&](void* p) { return library.PassThruIoctl(channel, SET_CONFIG, p, nullptr); }},
      {"ioctl SUPPRESS_VCI_DIALOG, input",
       [&](void* p) { return library.PassThruIoctl(device, SUPPRESS_VCI_DIALOG, p, nullptr); }},
      };
  const std::array<void*, 5> bad{nullptr, reinterpret_cast<void*>(8), pages.At(0),
                                 pages.At(1, Pages::Size() - 1),  // runs into memory that is not
                                 pages.At(2)};
  for (const Argument& argument : arguments) {
    for (void* const pointer : bad) {
      if (argument.what == std::string("last error, text") && pointer == bad[3]) continue;
      EXPECT_EQ(argument.call(pointer), long{ERR_NULL_PARAMETER})
          << argument.what << " " << pointer;
    }
  }
  // One byte of it is there: what doesn't fit is a failure, and not written.
  EXPECT_EQ(library.PassThruGetLastError(static_cast<char*>(bad[3])), long{ERR_FAILED});
}

TEST_F(UnreadablePointer, AsANameCountsAsNone) {
  Pages pages(1);
  pages.Protect(0, Protection::None);
  for (void* const name :
       {static_cast<void*>(nullptr), reinterpret_cast<void*>(8), static_cast<void*>(pages.At(0))}) {
    j2534_ulong id = 0;
    EXPECT_EQ(library.PassThruOpen(name, &id), long{ERR_DEVICE_IN_USE}) << "the last one, again";
  }
}

// Memory that cannot be written is as bad for an output as memory that cannot be read.
TEST_F(UnreadablePointer, ReadOnlyMemoryTakesNoOutput) {
  Pages pages(1);
  pages.Protect(0, Protection::ReadOnly);
  PASSTHRU_MSG message{};
  j2534_ulong count = 1;
  auto* const cell = reinterpret_cast<j2534_ulong*>(pages.At(0));
  EXPECT_EQ(library.PassThruConnect(device, CAN_PS, 0, 500000, cell), long{ERR_NULL_PARAMETER});
  EXPECT_EQ(library.PassThruReadMsgs(channel, &message, cell, 0), long{ERR_NULL_PARAMETER});
  EXPECT_EQ(library.PassThruReadMsgs(channel, reinterpret_cast<PASSTHRU_MSG*>(cell), &count, 0),
            long{ERR_NULL_PARAMETER});
  EXPECT_EQ(library.PassThruIoctl(device, READ_VBATT, nullptr, cell), long{ERR_NULL_PARAMETER});
}

/// An array of messages of which the last one runs into a page with something wrong.
struct BrokenArray {
  BrokenArray(std::size_t messages, const std::function<void(Pages&, std::size_t page)>& fault)
      : count(messages), pages(2 + messages * sizeof(PASSTHRU_MSG) / Pages::Size()) {
    const std::size_t last = pages.Count() - 1;
    char* const end = pages.At(last) + Pages::Size() / 2;
    begin = reinterpret_cast<PASSTHRU_MSG*>(end - messages * sizeof(PASSTHRU_MSG));
    for (std::size_t i = 0; i < messages; ++i) begin[i] = Frame(i);
    fault(pages, last);
  }

  static PASSTHRU_MSG Frame(std::size_t number) {
    PASSTHRU_MSG message{};
    message.ProtocolID = CAN;
    message.DataSize = 5;
    message.Data[2] = 7;
    message.Data[4] = static_cast<unsigned char>(number);
    return message;
  }

  std::size_t count;
  Pages pages;
  PASSTHRU_MSG* begin;
};

TEST_F(UnreadablePointer, ArrayOfMessagesIsFilledAsFarAsItIsThere) {
  StartPassFilter(0x700);
  ASSERT_EQ(SetConfig(channel, LOOPBACK, 1), 0);
  const std::vector<std::function<void(Pages&, std::size_t)>> faults{
      [](Pages& pages, std::size_t page) { pages.Protect(page, Protection::None); },
      [](Pages& pages, std::size_t page) { pages.Protect(page, Protection::ReadOnly); },
      [](Pages& pages, std::size_t page) { pages.Free(page); },
  };
  for (const j2534_ulong count : {2U, 3U, 30U}) {
    for (std::size_t i = 0; i < faults.size(); ++i) {
      SCOPED_TRACE(std::to_string(count) + " messages, fault " + std::to_string(i));
      BrokenArray array(count, faults[i]);
      j2534_ulong sent = 0;
      std::vector<PASSTHRU_MSG> good;
      for (std::size_t n = 0; n < count; ++n) good.push_back(array.Frame(n));
      ASSERT_EQ(Write(good, 5000, &sent), 0);
      ASSERT_EQ(sent, count);

      j2534_ulong got = count;
      EXPECT_EQ(library.PassThruReadMsgs(channel, array.begin, &got, 1000),
                long{ERR_NULL_PARAMETER});
      ASSERT_EQ(got, count - 1);
      EXPECT_EQ(array.begin[count - 2].Data[4], count - 2);
      std::vector<PASSTHRU_MSG> rest(2);
      EXPECT_EQ(Read(rest, 0), 0) << "what did not fit is still there";
      ASSERT_EQ(rest.size(), 1U);
      EXPECT_EQ(rest[0].Data[4], count - 1);
    }
  }
}

TEST_F(UnreadablePointer, ArrayOfMessagesThatEndsEarlyIsNotSent) {
  for (const j2534_ulong count : {2U, 3U, 30U}) {
    for (const bool freed : {false, true}) {
      BrokenArray array(count, [&](Pages& pages, std::size_t page) {
        if (freed) {
          pages.Free(page);
        } else {
          pages.Protect(page, Protection::None);
        }
      });
      j2534_ulong sent = count;
      EXPECT_EQ(library.PassThruWriteMsgs(channel, array.begin, &sent, 1000),
                long{ERR_NULL_PARAMETER});
      EXPECT_EQ(sent, 0U);
    }
    BrokenArray constant(count, [](Pages& pages, std::size_t page) {
      for (std::size_t i = 0; i <= page; ++i) pages.Protect(i, Protection::ReadOnly);
    });
    j2534_ulong sent = count;
    EXPECT_EQ(library.PassThruWriteMsgs(channel, constant.begin, &sent, 5000), 0);
    EXPECT_EQ(sent, count);
  }
}

}  // namespace
}  // namespace passbridge::test
