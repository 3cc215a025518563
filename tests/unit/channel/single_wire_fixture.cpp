#include "single_wire_fixture.h"

#include "protocols/channel_factory.h"

namespace passbridge::test {

namespace {

/// The ComParams whose values tests look for by name, in one order.
const std::vector<std::string> kWatched{"CP_Baudrate",           "CP_ChangeSpeedCtrl",
                                        "CP_ChangeSpeedRate",    "CP_ChangeSpeedResCtrl",
                                        "CP_ChangeSpeedTxDelay", "CP_TerminationType"};

}  // namespace

OwnedChannel SingleWireFixture::Make() { return CreateChannel(GetParam()); }

void SingleWireFixture::ConnectOnWire(
    std::vector<std::pair<std::uint32_t, std::uint32_t>> settings) {
  ASSERT_EQ(Connect(GetParam(), 0, kNormalRate), STATUS_NOERROR);
  settings.emplace_back(J1962_PINS, 0x0100);
  ASSERT_EQ(Configure(std::move(settings)), STATUS_NOERROR);
  pdu.Calls().Clear();
}

std::vector<std::string> SingleWireFixture::Written() {
  std::vector<std::string> written;
  const std::vector<std::string> calls = pdu.Calls().All();
  pdu.Calls().Clear();
  for (const std::string& call : calls) {
    if (call.starts_with("PDUStartComPrimitive")) written.emplace_back("CoP");
    if (call == "update ended") written.push_back(call);
    if (!call.starts_with("PDUSetComParam")) continue;
    for (const std::string& name : kWatched) {
      // In steps: GCC takes "{" + … for overlapping memory.
      std::string id = "{";
      id.append(Render(pdu.IdOf(PDU_OBJT_COMPARAM, name))).append(" = ");
      const std::size_t at = call.find(id);
      if (at == std::string::npos) continue;
      const std::string value = call.substr(at + id.size());
      written.push_back(name + " " + std::to_string(std::stoul(value, nullptr, 0)));
    }
  }
  return written;
}

void SingleWireFixture::SetWatched(const char* comParam, ParamSpec value) {
  pdu.SetComParam(comParam, std::move(value));
  EXPECT_EQ(channel->GetPDUComParam(pdu.IdOf(PDU_OBJT_COMPARAM, comParam)), STATUS_NOERROR);
}

std::string SingleWireFixture::Message() {
  PDU_PARAM_ITEM* item = nullptr;
  pdu.PDUGetComParam.BuiltIn(kModule, pdu.LastLink(),
                             pdu.IdOf(PDU_OBJT_COMPARAM, "CP_ChangeSpeedMessage"), &item);
  const auto* const field = static_cast<const PDU_PARAM_BYTEFIELD_DATA*>(item->pComParamData);
  const std::string bytes = RenderBytes(field->pDataArray, field->ParamActLen);
  pdu.Items().Destroy(item);
  return bytes;
}

PassThruMsg SingleWireFixture::RequestTo(const std::vector<std::uint8_t>& address,
                                         const std::vector<std::uint8_t>& request,
                                         std::uint32_t txFlags) const {
  std::vector<std::uint8_t> bytes = address;
  // A raw frame says how long its request is.
  if (IsRaw()) bytes.push_back(static_cast<std::uint8_t>(request.size()));
  bytes.insert(bytes.end(), request.begin(), request.end());
  return CanMessage(bytes, GetParam(), txFlags);
}

}  // namespace passbridge::test
