// Sends a frame with Qt's pass-thru plug-in once it is connected, and shows the first answer from
// 7E8. canbusutil sends before it is connected, which this plug-in refuses. qt_client DEVICE
#include <QCanBus>
#include <QCanBusDevice>
#include <QCanBusFrame>
#include <QCoreApplication>
#include <QTimer>
#include <cstdio>
#include <memory>

namespace {

constexpr quint32 kRequestId = 0x7E0;
constexpr quint32 kResponseId = 0x7E8;
constexpr int kPatience = 10000;  // ms

}  // namespace

int main(int argc, char** argv) {
  QCoreApplication application(argc, argv);
  QString problem;
  const std::unique_ptr<QCanBusDevice> device(QCanBus::instance()->createDevice(
      QStringLiteral("passthrucan"), QCoreApplication::arguments().value(1), &problem));
  if (device == nullptr) {
    std::fprintf(stderr, "%s\n", qPrintable(problem));
    return 1;
  }
  QObject::connect(device.get(), &QCanBusDevice::stateChanged, [&](auto state) {
    if (state == QCanBusDevice::ConnectedState) {
      device->writeFrame(QCanBusFrame(kRequestId, QByteArray::fromHex("02010C0000000000")));
    }
  });
  QObject::connect(device.get(), &QCanBusDevice::framesReceived, [&] {
    for (const QCanBusFrame& frame : device->readAllFrames()) {
      if (frame.frameId() != kResponseId) continue;
      std::printf("%s\n", qPrintable(frame.toString()));
      device->disconnectDevice();
      QCoreApplication::exit(0);
      return;
    }
  });
  QObject::connect(device.get(), &QCanBusDevice::errorOccurred,
                   [&] { std::fprintf(stderr, "%s\n", qPrintable(device->errorString())); });
  QTimer::singleShot(kPatience, [] { QCoreApplication::exit(1); });
  return device->connectDevice() ? QCoreApplication::exec() : 1;
}
