#ifndef PASSBRIDGE_EXPLORER_LIST_STATE_H_
#define PASSBRIDGE_EXPLORER_LIST_STATE_H_

#include <QString>
#include <QVector>

namespace passbridge::explorer {

struct MenuEntry {
  QString command;  ///< as the library numbers it; empty: a separator
  QString text;
  bool enabled = false;
  bool checked = false;
};

struct ListItem {
  QString id;  ///< empty: not a VCI, but the placeholder of an empty list
  int overlay = 0;
  bool canConnect = false;
  QString label;
  QString toolTip;
  QVector<MenuEntry> menu;  ///< empty: there is none
};

using ListState = QVector<ListItem>;

}  // namespace passbridge::explorer

#endif  // PASSBRIDGE_EXPLORER_LIST_STATE_H_
