// How many raw CAN frames a second one link of the virtual VCI delivers through PDUGetEventItem and
// PDUDestroyItem with the instant clock, and whether memory stays flat meanwhile.
//
//   virtual_vci_throughput [--frames N] [--single] [--minimum N]
//
// --single: one frame an item instead of packed items. --minimum: fails if fewer frames a second
// arrive. The library is the one that VIRTUAL_VCI_LIBRARY names.
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <mutex>
#include <string>

#include "bench/platform/process.h"
#include "tests/virtual_vci/pdu_library.h"

namespace {

using virtual_vci_test::PduLibrary;

struct Options {
  std::uint64_t frames = 50'000'000;
  bool single = false;
  double minimum = 0;
};

Options ReadOptions(int count, char** arguments) {
  Options options;
  for (int i = 1; i < count; ++i) {
    const std::string name = arguments[i];
    if (name == "--single") {
      options.single = true;
    } else if (name == "--frames" && i + 1 < count) {
      options.frames = std::strtoull(arguments[++i], nullptr, 10);
    } else if (name == "--minimum" && i + 1 < count) {
      options.minimum = std::strtod(arguments[++i], nullptr);
    } else {
      std::fprintf(stderr, "usage: virtual_vci_throughput [--frames N] [--single] [--minimum N]\n");
      std::exit(2);
    }
  }
  return options;
}

[[noreturn]] void Fail(const char* what, T_PDU_ERROR error) {
  std::fprintf(stderr, "%s: 0x%X\n", what, error);
  std::exit(1);
}

void Must(const char* what, T_PDU_ERROR error) {
  if (error != PDU_STATUS_NOERROR) Fail(what, error);
}

std::string WriteScenario(bool single) {
  const std::string path = "virtual_vci_throughput.json";
  std::ofstream(path)
      << R"({"vcis":[{"serial":1,"interfaces":[{"type":"USB"}],"packedReception":)"
      << (single ? "false" : "true") << R"(}],"buses":[{"pins":[6,14]}],)"
      << R"("ecus":[{"request":"0x7E0","response":"0x7E8",)"
      << R"("cyclic":[{"id":"0x123","data":"01 02 03 04 05 06 07 08","period":0}]}]})";
  return path;
}

std::mutex lock;
std::condition_variable called;
bool signalled = false;

void PDUAPI OnEvent(T_PDU_EVT_DATA, UNUM32, UNUM32, void*, void*) {
  const std::lock_guard<std::mutex> guard(lock);
  signalled = true;
  called.notify_one();
}

void WaitForEvent() {
  std::unique_lock<std::mutex> guard(lock);
  called.wait(guard, [] { return signalled; });
  signalled = false;
}

/// A link that receives everything.
UNUM32 OpenLink(PduLibrary& library, UNUM32 module) {
  char busType[] = "ISO_11898_2_DWCAN";
  char protocol[] = "ISO_11898_RAW";
  char startFilter[] = "PDU_IOCTL_START_MSG_FILTER";
  PDU_PIN_DATA pins[] = {{6, 0}, {14, 0}};
  PDU_RSC_DATA resource{0, 0, 2, pins};
  UNUM32 control = 0;
  Must("bus type", library.PDUGetObjectId(PDU_OBJT_BUSTYPE, busType, &resource.BusTypeId));
  Must("protocol", library.PDUGetObjectId(PDU_OBJT_PROTOCOL, protocol, &resource.ProtocolId));
  Must("I/O control", library.PDUGetObjectId(PDU_OBJT_IO_CTRL, startFilter, &control));
  UNUM32 link = 0;
  UNUM8 rawMode[] = {0xA0, 0x01, 0x00, 0x00};  // frames that wait come packed there
  PDU_FLAG_DATA flags{4, rawMode};
  Must("create link",
       library.PDUCreateComLogicalLink(module, &resource, PDU_ID_UNDEF, nullptr, &link, &flags));
  Must("callback", library.PDURegisterEventCallback(module, link, &OnEvent));
  PDU_IO_FILTER_DATA filter{PDU_FLT_PASS, 1, 1, {}, {}};
  PDU_IO_FILTER_LIST list{1, &filter};
  PDU_DATA_ITEM item{PDU_IT_IO_FILTER, &list};
  Must("filter", library.PDUIoCtl(module, link, control, &item, nullptr));
  Must("connect link", library.PDUConnect(module, link));
  PDU_EXP_RESP_DATA expected{};
  PDU_COP_CTRL_DATA receive{};
  receive.NumReceiveCycles = PDU_CYCLES_INFINITE;
  receive.NumPossibleExpectedResponses = 1;
  receive.pExpectedResponseArray = &expected;
  UNUM32 cop = 0;
  Must("receive", library.PDUStartComPrimitive(module, link, PDU_COPT_SENDRECV, 0, nullptr,
                                               &receive, nullptr, &cop));
  return link;
}

std::uint64_t FramesIn(const PDU_EVENT_ITEM& item) {
  if (item.ItemType != PDU_IT_RESULT) return 0;
  const auto& result = *static_cast<const PDU_RESULT_DATA*>(item.pData);
  if ((result.RxFlag.pFlagData[3] & 0x20) == 0) return 1;
  UNUM32 count = 0;
  std::memcpy(&count, result.pDataBytes, sizeof(count));
  return count;
}

std::uint64_t Receive(PduLibrary& library, UNUM32 module, UNUM32 link, std::uint64_t wanted) {
  std::uint64_t frames = 0;
  while (frames < wanted) {
    PDU_EVENT_ITEM* item = nullptr;
    const T_PDU_ERROR error = library.PDUGetEventItem(module, link, &item);
    if (error == PDU_ERR_EVENT_QUEUE_EMPTY) {
      WaitForEvent();
      continue;
    }
    Must("get event item", error);
    frames += FramesIn(*item);
    Must("destroy item", library.PDUDestroyItem(reinterpret_cast<PDU_ITEM*>(item)));
  }
  return frames;
}

double Mebibytes(std::size_t bytes) { return static_cast<double>(bytes) / (1024 * 1024); }

}  // namespace

int main(int count, char** arguments) {
  const Options options = ReadOptions(count, arguments);
  PduLibrary library(virtual_vci_test::LibraryPath());
  if (!library.Loaded()) Fail("VIRTUAL_VCI_LIBRARY names no library", 0);
  std::string optionText = "Clock='instant' Scenario='" + WriteScenario(options.single) + "'";
  Must("construct", library.PDUConstruct(optionText.data(), nullptr));
  constexpr UNUM32 kModule = 0x1001;
  Must("connect module", library.PDUModuleConnect(kModule));
  const UNUM32 link = OpenLink(library, kModule);

  Receive(library, kModule, link, options.frames / 100 + 1);  // warm up
  const std::size_t before = bench::ResidentBytes();
  const auto begin = std::chrono::steady_clock::now();
  const std::uint64_t frames = Receive(library, kModule, link, options.frames);
  const std::chrono::duration<double> time = std::chrono::steady_clock::now() - begin;
  const std::size_t after = bench::ResidentBytes();
  Must("destruct", library.PDUDestruct());

  const double rate = static_cast<double>(frames) / time.count();
  std::printf("%s: %llu frames in %.2f s, %.0f frames/s; memory %.1f MiB before, %.1f MiB after\n",
              options.single ? "single" : "packed", static_cast<unsigned long long>(frames),
              time.count(), rate, Mebibytes(before), Mebibytes(after));
  constexpr std::size_t kSlack = 8 * 1024 * 1024;
  if (after > before + kSlack) std::fprintf(stderr, "memory grew\n");
  return rate < options.minimum || after > before + kSlack ? 1 : 0;
}
