#include "virtual_vci/vehicle/serial_port.h"

namespace virtual_vci {

namespace {

constexpr std::size_t kMostHeard = 4096;

SerialFormat OnLine(SerialFormat format, const SerialLine& line) {
  if (format.bitRate == 0) format.bitRate = line.BitRate();
  return format;
}

}  // namespace

SerialPort::SerialPort(const SerialFormat& format, EcuFault fault, const PortContext& context,
                       SerialLine& line)
    : context_(context),
      format_(OnLine(format, line)),
      fault_(fault),
      sender_(context.scheduler, line, *this),
      receiver_(context.scheduler,
                [this](const Bytes& bytes, FrameTimes times) { MessageHeard(bytes, times); }),
      line_(line) {
  line.Attach(*this);
}

SerialPort::~SerialPort() {
  context_.scheduler.Cancel(timer_);
  line_.Detach(*this);
}

void SerialPort::Heard(std::uint8_t byte, const SerialFormat& format, FrameTimes times) {
  if (heard_.size() < kMostHeard) heard_.push_back({byte, times.start, times.end});
  ByteHeard(byte, format, times);
}

}  // namespace virtual_vci
