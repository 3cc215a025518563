#ifndef PASSBRIDGE_EXPLORER_PICTURES_H_
#define PASSBRIDGE_EXPLORER_PICTURES_H_

#include <QIcon>
#include <QMap>
#include <QSize>

namespace passbridge::explorer {

/// The pictures of the list: a VCI, over which an overlay is drawn. They are as they were drawn in
/// windows of either direction, like those of the dialog on Windows.
class Pictures {
 public:
  static constexpr QSize kSize{72, 112};

  /// @param overlay  its number; one that there is no picture of shows the VCI alone
  const QIcon& IconOf(int overlay);

 private:
  static QIcon Compose(int overlay);

  QMap<int, QIcon> icons_;  // those made so far
};

}  // namespace passbridge::explorer

#endif  // PASSBRIDGE_EXPLORER_PICTURES_H_
