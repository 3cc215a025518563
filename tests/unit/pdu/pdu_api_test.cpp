#include "pdu/pdu_api.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <set>
#include <string>
#include <vector>

#include "pdu/com_param.h"
#include "pdu/io_control.h"
#include "pdu/item.h"
#include "support/scripted_pdu.h"

namespace passbridge::pdu {
namespace {

using test::ScriptedPdu;

struct Entry {
  const char* name;
  bool required;
};

const std::vector<Entry> kEntries{
#define PASSBRIDGE_TEST_ENTRY(name, required) Entry{#name, required},
    PASSBRIDGE_PDU_FUNCTIONS(PASSBRIDGE_TEST_ENTRY)
#undef PASSBRIDGE_TEST_ENTRY
};

/// A library that exports everything but `missing`, and notes what it is asked for.
struct Library {
  bool Bind() {
    return BindPduApi([this](const char* name) -> void* {
      asked.emplace_back(name);
      return missing.count(name) != 0 ? nullptr : &code;
    });
  }

  std::set<std::string> missing;
  std::vector<std::string> asked;
  char code = 0;
};

TEST(PduApiTest, ALibraryIsRefusedForEachRequiredEntryThatItLacks) {
  for (const Entry& entry : kEntries) {
    Library library;
    library.missing = {entry.name};
    EXPECT_EQ(library.Bind(), !entry.required) << entry.name;
    EXPECT_EQ(library.asked.size(), 32U) << "every name is asked for, whatever is missing";
  }
}

TEST(PduApiTest, OnlyTheExtensionsAreOptional) {
  Library library;
  library.missing = {"PDUGetObjectIds", "PDUGetEventItems", "PDUDestroyItems"};
  EXPECT_TRUE(library.Bind());
  EXPECT_EQ(Api().PDUGetObjectIds, nullptr);
  EXPECT_NE(Api().PDUGetTimestamp, nullptr);
}

TEST(PduApiTest, BindingAgainReplacesEveryEntry) {
  Library first;
  Library second;
  second.missing = {"PDUGetObjectIds"};
  ASSERT_TRUE(first.Bind());
  ASSERT_TRUE(second.Bind());
  EXPECT_EQ(reinterpret_cast<void*>(Api().PDUConstruct), &second.code);
  EXPECT_EQ(Api().PDUGetObjectIds, nullptr) << "no entry of the first library is left";
}

TEST(PduApiTest, WithoutALibraryCallsFailAndHarmNobody) {
  Library library;
  ASSERT_TRUE(library.Bind());
  UnloadPduApi();
  EXPECT_EQ(Api().PDUDestruct(), T_PDU_ERROR{PDU_ERR_PDUAPI_NOT_CONSTRUCTED});
  EXPECT_EQ(Api().PDUDestroyItem(nullptr), T_PDU_ERROR{PDU_ERR_PDUAPI_NOT_CONSTRUCTED});
  library.missing = {"PDUDestruct"};
  EXPECT_FALSE(library.Bind());
  EXPECT_EQ(Api().PDUDestruct(), T_PDU_ERROR{PDU_ERR_PDUAPI_NOT_CONSTRUCTED})
      << "a library that is refused is never called";
}

/// Whether a file is in this process (Linux only; elsewhere it never is).
bool IsMapped(const std::string& file) {
  std::ifstream maps("/proc/self/maps");
  const std::string text{std::istreambuf_iterator<char>(maps), std::istreambuf_iterator<char>()};
  return text.find(file) != std::string::npos;
}

TEST(PduApiTest, APinKeepsTheLibraryUntilItLetsGo) {
  const char* const path = std::getenv("PASSBRIDGE_TEST_VCI");
  ASSERT_NE(path, nullptr);
  ASSERT_TRUE(LoadPduApi(path));
  {
    const Pin pin;
    const FunctionTable& table = Api();
    UnloadPduApi();
    EXPECT_NE(&Api(), &table);
    EXPECT_EQ(table.PDUDestruct(), T_PDU_ERROR{PDU_ERR_PDUAPI_NOT_CONSTRUCTED})
        << "it can still be called";
  }
  EXPECT_FALSE(IsMapped("virtual_vci")) << "nobody needs it any more";
}

TEST(PduApiTest, AFileThatIsNoLibraryDoesNotLoad) {
  EXPECT_FALSE(LoadPduApi(""));
  EXPECT_FALSE(LoadPduApi("no-such-library"));
  UnloadPduApi();
  UnloadPduApi();  // nothing is loaded any more: harmless
}

TEST(ObjectIdsTest, ComParamsAreResolvedInOneCall) {
  ScriptedPdu pdu;
  ResolvePduObjectIds();
  EXPECT_EQ(pdu.Calls().Of("PDUGetObjectIds"),
            std::vector<std::string>{"PDUGetObjectIds(0x8024, 156, out, out)"});
  EXPECT_EQ(ComParamId(ComParam::CP_Baudrate), pdu.IdOf(PDU_OBJT_COMPARAM, "CP_Baudrate"));
  EXPECT_EQ(ComParamId(ComParam::CP_BrTxMin), pdu.IdOf(PDU_OBJT_COMPARAM, "CP_BrTxMin"));
  const std::vector<std::string> controls = pdu.Calls().Of("PDUGetObjectId");
  ASSERT_EQ(controls.size(), 17U);
  EXPECT_EQ(controls.front(), "PDUGetObjectId(0x8023, \"PDU_IOCTL_RESET\", out)");
  EXPECT_EQ(IoControlId(IoControl::SendBreak), pdu.IdOf(PDU_OBJT_IO_CTRL, "PDU_IOCTL_SEND_BREAK"));
}

TEST(ObjectIdsTest, WithoutTheExtensionTheNamesAreResolvedOneByOne) {
  ScriptedPdu pdu;
  pdu.BindWithout("PDUGetObjectIds");
  ResolvePduObjectIds();
  EXPECT_EQ(pdu.Calls().Count("PDUGetObjectId"), 156U + 17U);
  EXPECT_EQ(ComParamId(ComParam::CP_BrTxMin), pdu.IdOf(PDU_OBJT_COMPARAM, "CP_BrTxMin"));
}

TEST(ObjectIdsTest, NamesWithoutIdentifierAreAskedForAgain) {
  ScriptedPdu pdu;
  pdu.PDUGetObjectIds.Does([](T_PDU_OBJT, UNUM32, CHAR8**, UNUM32** ids) {
    *ids[0] = 4711;  // what a failing call leaves is none
    return PDU_ERR_FCT_FAILED;
  });
  pdu.PDUGetObjectId.Does([&](T_PDU_OBJT type, CHAR8* name, UNUM32* id) -> T_PDU_ERROR {
    const std::string known = name;
    if (known != "CP_Baudrate") return *id = 4712, PDU_ERR_ID_NOT_SUPPORTED;
    return pdu.PDUGetObjectId.BuiltIn(type, name, id);
  });
  ResolvePduObjectIds();
  EXPECT_EQ(pdu.Calls().Count("PDUGetObjectId"), 156U + 17U);
  EXPECT_EQ(ComParamId(ComParam::CP_5BaudAddressFunc), PDU_ID_UNDEF);
  EXPECT_EQ(ComParamId(ComParam::CP_Baudrate), pdu.IdOf(PDU_OBJT_COMPARAM, "CP_Baudrate"));
  EXPECT_EQ(IoControlId(IoControl::ReadVbatt), PDU_ID_UNDEF);

  pdu.PDUGetObjectIds.Does({});
  pdu.PDUGetObjectId.Does({});
  pdu.Calls().Clear();
  ResolvePduObjectIds();
  EXPECT_EQ(pdu.Calls().Of("PDUGetObjectIds"),
            std::vector<std::string>{"PDUGetObjectIds(0x8024, 155, out, out)"});
  EXPECT_EQ(ComParamId(ComParam::CP_5BaudAddressFunc),
            pdu.IdOf(PDU_OBJT_COMPARAM, "CP_5BaudAddressFunc"));
  EXPECT_EQ(ComParamId(ComParam::CP_BrTxMin), pdu.IdOf(PDU_OBJT_COMPARAM, "CP_BrTxMin"));
  EXPECT_EQ(IoControlId(IoControl::ReadVbatt), pdu.IdOf(PDU_OBJT_IO_CTRL, "PDU_IOCTL_READ_VBATT"));

  pdu.Calls().Clear();
  ResolvePduObjectIds();
  EXPECT_TRUE(pdu.Calls().All().empty()) << "identifiers stay";
}

TEST(ItemTest, AnItemIsDestroyedOnceWhateverPathItTakes) {
  ScriptedPdu pdu;
  {
    Item<PDU_EVENT_ITEM> item(pdu.Items().MakeStatus(PDU_COPST_FINISHED));
    Item<PDU_EVENT_ITEM> moved(std::move(item));
    SharedEventItem shared(std::move(moved));
    SharedEventItem copy = shared;
    shared = SharedEventItem();
    EXPECT_EQ(pdu.Items().Alive(), 1U) << "the copy still uses it";
    EXPECT_EQ(copy->ItemType, T_PDU_IT{PDU_IT_STATUS});
  }
  EXPECT_EQ(pdu.Items().Alive(), 0U);
  EXPECT_EQ(pdu.Items().WrongDestroys(), 0U);
}

}  // namespace
}  // namespace passbridge::pdu
