#include "pictures.h"

#include <QPainter>
#include <QPixmap>
#include <QString>

namespace passbridge::explorer {
namespace {

/// Each picture is there for these densities of the screen.
constexpr int kScales[] = {1, 2};

QImage Load(const QString& name, int scale) {
  const QString density = scale > 1 ? "@" + QString::number(scale) + "x" : QString();
  return QImage(":/pictures/" + name + density + ".png");
}

void DrawOver(QImage& picture, const QImage& source) {
  if (source.isNull()) return;
  QPainter painter(&picture);
  painter.setRenderHint(QPainter::SmoothPixmapTransform);
  painter.drawImage(picture.rect(), source);
}

}  // namespace

const QIcon& Pictures::IconOf(int overlay) {
  if (!icons_.contains(overlay)) icons_.insert(overlay, Compose(overlay));
  return icons_[overlay];
}

QIcon Pictures::Compose(int overlay) {
  QIcon icon;
  for (const int scale : kScales) {
    QImage picture(kSize * scale, QImage::Format_ARGB32_Premultiplied);
    picture.fill(Qt::transparent);
    DrawOver(picture, Load("main", scale));
    if (overlay > 0) DrawOver(picture, Load("overlay-" + QString::number(overlay), scale));
    QPixmap pixmap = QPixmap::fromImage(picture);
    pixmap.setDevicePixelRatio(scale);
    icon.addPixmap(pixmap);
    icon.addPixmap(pixmap, QIcon::Selected);  // else it would be tinted
  }
  return icon;
}

}  // namespace passbridge::explorer
