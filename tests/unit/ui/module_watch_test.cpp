#include "ui/module_watch.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "support/scripted_pdu.h"

namespace passbridge {
namespace {

using ::testing::ElementsAre;

struct ModuleWatchTest : testing::Test {
  ~ModuleWatchTest() override {
    EXPECT_EQ(pdu.Items().Alive(), 0U);
    EXPECT_EQ(pdu.Items().WrongDestroys(), 0U);
  }

  ModuleWatch::Sinks Telling(std::vector<std::string>& told) {
    return {[&told](const pdu::Item<PDU_MODULE_ITEM>& list) {
      told.push_back(std::to_string(list->NumEntries) + " modules");
            },
            [&told](const char* message) { told.emplace_back(message); }};
  }
  void Deliver(PDU_EVENT_ITEM* item) { pdu.Deliver(PDU_HANDLE_UNDEF, PDU_HANDLE_UNDEF, item); }
  bool IsRegistered() { return pdu.CallbackOf(PDU_HANDLE_UNDEF, PDU_HANDLE_UNDEF) != nullptr; }

  test::ScriptedPdu pdu;
  std::vector<std::string> first;
  std::vector<std::string> second;
};

TEST_F(ModuleWatchTest, TellsChangesAndWhatIsUnexpected) {
  const ModuleWatch watch(Telling(first));
  pdu.SetModules({{1, "11", "USB"}, {2, "12", "USB"}});
  pdu.Queue(PDU_HANDLE_UNDEF, PDU_HANDLE_UNDEF, pdu.Items().MakeInfo(PDU_INFO_RSC_LOCK_CHG));
  pdu.Queue(PDU_HANDLE_UNDEF, PDU_HANDLE_UNDEF, pdu.Items().MakeStatus(PDU_MODST_AVAIL));
  pdu.Queue(PDU_HANDLE_UNDEF, PDU_HANDLE_UNDEF, pdu.Items().MakeEvent(PDU_IT_INFO, nullptr));
  pdu.Queue(PDU_HANDLE_UNDEF, PDU_HANDLE_UNDEF, pdu.Items().MakeInfo(PDU_INFO_MODULE_LIST_CHG));
  pdu.Signal(PDU_HANDLE_UNDEF, PDU_HANDLE_UNDEF);
  pdu.PDUGetModuleIds.Next({PDU_ERR_FCT_FAILED});
  Deliver(pdu.Items().MakeInfo(PDU_INFO_MODULE_LIST_CHG));
  pdu.PDUGetEventItem.Next({PDU_ERR_FCT_FAILED});
  pdu.Signal(PDU_HANDLE_UNDEF, PDU_HANDLE_UNDEF);
  EXPECT_THAT(first,
              ElementsAre("Unknown info code present inside the event found in the system queue",
                          "Non Info event found in the system queue",
                          "Non Info event found in the system queue", "2 modules",
                          "Error retreiving System level event"));
}

TEST_F(ModuleWatchTest, OtherEventsAreLeftAlone) {
  const ModuleWatch watch(Telling(first));
  const CALLBACKFNC callback = pdu.CallbackOf(PDU_HANDLE_UNDEF, PDU_HANDLE_UNDEF);
  pdu.Queue(PDU_HANDLE_UNDEF, PDU_HANDLE_UNDEF, pdu.Items().MakeInfo(PDU_INFO_MODULE_LIST_CHG));
  callback(PDU_EVT_DATA_AVAILABLE, 1, PDU_HANDLE_UNDEF, nullptr, nullptr);
  callback(PDU_EVT_DATA_AVAILABLE, PDU_HANDLE_UNDEF, 1, nullptr, nullptr);
  EXPECT_THAT(first, ElementsAre());
  pdu.Signal(PDU_HANDLE_UNDEF, PDU_HANDLE_UNDEF);
  EXPECT_THAT(first, ElementsAre("1 modules"));
}

TEST_F(ModuleWatchTest, SeveralAreToldUntilTheyEnd) {
  std::optional<ModuleWatch> one(std::in_place, Telling(first));
  std::optional<ModuleWatch> two(std::in_place, Telling(second));
  Deliver(pdu.Items().MakeInfo(PDU_INFO_MODULE_LIST_CHG));
  one.reset();
  EXPECT_TRUE(IsRegistered());
  EXPECT_EQ(pdu.Calls().Count("PDURegisterEventCallback"), 2U) << "not a moment without";
  Deliver(pdu.Items().MakeInfo(PDU_INFO_MODULE_LIST_CHG));
  EXPECT_THAT(first, ElementsAre("1 modules"));
  EXPECT_THAT(second, ElementsAre("1 modules", "1 modules"));
  // It ends while a callback is under way.
  pdu.PDUGetModuleIds.Does([&](PDU_MODULE_ITEM** list) {
    two.reset();
    *list = pdu.Items().MakeModuleList({});
    return PDU_STATUS_NOERROR;
  });
  Deliver(pdu.Items().MakeInfo(PDU_INFO_MODULE_LIST_CHG));
  EXPECT_EQ(second.size(), 2U);
  EXPECT_FALSE(IsRegistered());
}

}  // namespace
}  // namespace passbridge
