/// \file
/// What the tests of a D-PDU API library share: a constructed library, a connected module, links
/// that collect events.
#ifndef TESTS_VIRTUAL_VCI_PDU_FIXTURE_H_
#define TESTS_VIRTUAL_VCI_PDU_FIXTURE_H_

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <initializer_list>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "gmock/gmock.h"
#include "gtest/gtest.h"
#include "tests/virtual_vci/pdu_library.h"

namespace virtual_vci_test {

using Bytes = std::vector<UNUM8>;
using std::chrono::milliseconds;

/// An event item, copied and destroyed.
struct Event {
  T_PDU_IT type = 0;
  UNUM32 cop = PDU_HANDLE_UNDEF;
  void* tag = nullptr;
  UNUM32 timestamp = 0;
  T_PDU_STATUS status = 0;  ///< status item
  PDU_ERROR_DATA error{};   ///< error item
  PDU_INFO_DATA info{};     ///< info item
  Bytes flags;              ///< result item, and the following
  Bytes data;
  Bytes header;
  UNUM32 uniqueRespId = 0;
  UNUM32 acceptanceId = 0;
  UNUM32 startTimestamp = 0;

  bool IsResult() const { return type == PDU_IT_RESULT; }
  bool IsStatus(T_PDU_STATUS wanted) const { return type == PDU_IT_STATUS && status == wanted; }
  bool Has(std::size_t byte, UNUM8 bit) const {
    return flags.size() > byte && (flags[byte] & bit) != 0;
  }
};

/// The messages of a result: its records if it is packed, else itself.
std::vector<Event> Unpacked(const Event& event);

/// A link of the library under test, destroyed with the object.
class TestLink {
 public:
  struct Setup {
    const char* busType = "ISO_11898_2_DWCAN";
    const char* protocol = "ISO_11898_RAW";
    std::vector<UNUM32> pins = {6, 14};
    bool rawMode = true;
  };
  TestLink(PduLibrary& library, UNUM32 module, const Setup& setup);
  TestLink(PduLibrary& library, UNUM32 module) : TestLink(library, module, Setup()) {}
  ~TestLink();
  TestLink(const TestLink&) = delete;
  TestLink& operator=(const TestLink&) = delete;

  UNUM32 Handle() const { return handle_; }
  T_PDU_ERROR Created() const { return created_; }
  /// Connects, lets everything pass, starts receiving.
  void Open();

  T_PDU_ERROR Set(const char* comParam, UNUM32 value);
  UNUM32 Get(const char* comParam);
  void Update();
  /// One row of the response-identifier table.
  struct Conversation {
    UNUM32 uniqueRespId = 0;
    UNUM32 request = 0;
    UNUM32 response = 0;
    UNUM32 format = 5;
    UNUM32 requestExtension = 0;
    UNUM32 responseExtension = 0;
  };
  T_PDU_ERROR SetTable(const std::vector<Conversation>& rows);
  T_PDU_ERROR Pass(const Bytes& mask, const Bytes& pattern, T_PDU_FILTER type = PDU_FLT_PASS);
  T_PDU_ERROR IoCtl(const char* name, PDU_DATA_ITEM* input = nullptr);

  struct Request {
    T_PDU_COPT type = PDU_COPT_SENDRECV;
    Bytes data = {};
    SNUM32 sendCycles = 1;
    SNUM32 receiveCycles = 0;
    UNUM32 time = 0;
    Bytes flags = {0, 0, 0, 0};
    bool temporary = false;
    std::optional<std::pair<Bytes, Bytes>> expect = {};  ///< mask and pattern; without: anything
    void* tag = nullptr;
    std::vector<UNUM32> from = {};  ///< expected response identifiers; none: any
  };
  /// The handle; PDU_HANDLE_UNDEF and `result` if it can't be started.
  UNUM32 Start(const Request& request, T_PDU_ERROR* result = nullptr);
  UNUM32 Send(const Bytes& data) { return Start({.data = data}); }
  UNUM32 Receive();
  T_PDU_ERROR Cancel(UNUM32 cop) { return library_.PDUCancelComPrimitive(module_, handle_, cop); }

  /// The next event, waiting for the callback; none after `patience`.
  std::optional<Event> Next(milliseconds patience = milliseconds(2000));
  /// Skips events until one fits; none after `patience`.
  std::optional<Event> Await(const std::function<bool(const Event&)>& wanted,
                             milliseconds patience = milliseconds(5000));
  std::optional<Event> AwaitStatus(UNUM32 cop, T_PDU_STATUS status);
  /// The next result that is neither an echo nor an indication, one record at a time.
  std::optional<Event> AwaitResult(milliseconds patience = milliseconds(5000));
  /// Everything that is there now.
  std::vector<Event> Drain();
  int Callbacks();
  /// Whether the callback has told of lost events that often, waiting for it.
  bool AwaitLosses(int count, milliseconds patience = milliseconds(5000));
  int Losses();

 private:
  static void PDUAPI OnEvent(T_PDU_EVT_DATA event, UNUM32 module, UNUM32 link, void* linkTag,
                             void* apiTag);
  bool Fetch();

  PduLibrary& library_;
  const UNUM32 module_;
  UNUM32 handle_ = PDU_HANDLE_UNDEF;
  T_PDU_ERROR created_;
  std::deque<Event> events_;

  std::mutex lock_;
  std::condition_variable called_;
  bool signalled_ = false;
  int callbacks_ = 0;
  int losses_ = 0;
};

/// Loads the library for each test, constructs it with the clock, and demands at the end that every
/// item came back.
class PduTest : public testing::Test {
 protected:
  explicit PduTest(std::string options = "Clock='instant'") : options_(std::move(options)) {}
  void SetUp() override;
  void TearDown() override;

  UNUM32 ModuleNamed(const std::string& serial, const std::string& interface);
  /// Goes on with the library constructed anew, with this scenario and an instant clock.
  void UseScenario(const char* json);
  /// VCI 4711 on USB, connected.
  UNUM32 Connect();
  UNUM32 Id(T_PDU_OBJT type, const char* name);

  PduLibrary library_{LibraryPath()};
  std::string options_;
  bool constructed_ = false;
};

/// Copies an item and gives it back to the library.
Event TakeEvent(PduLibrary& library, PDU_EVENT_ITEM* item);

/// A CAN message: identifier and data.
Bytes Message(UNUM32 id, std::initializer_list<int> data);

}  // namespace virtual_vci_test

#endif  // TESTS_VIRTUAL_VCI_PDU_FIXTURE_H_
