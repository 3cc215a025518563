#ifndef PASSBRIDGE_EXPLORER_EXPLORER_DIALOG_H_
#define PASSBRIDGE_EXPLORER_EXPLORER_DIALOG_H_

#include <QDialog>
#include <functional>

#include "list_state.h"
#include "pictures.h"

class QListWidget;
class QListWidgetItem;
class QMenu;
class QPushButton;

namespace passbridge::explorer {

/// The dialog as the user sees it. It keeps which item is selected; what the user does goes to the
/// sinks, and changes nothing here until the next list.
class ExplorerDialog : public QDialog {
 public:
  struct Sinks {
    /// A command's number, and the item that is selected.
    std::function<void(const QString& command, const QString& id)> command;
    /// Cancelled or closed.
    std::function<void()> closed;
  };

  explicit ExplorerDialog(Sinks sinks);

  /// "&" comes before mnemonics.
  void SetButtonTexts(const QString& connect, const QString& cancel);
  /// A face that is not installed changes nothing.
  void SetFontFace(const QString& face, int pixels, int weight);
  /// Lays the dialog out in a direction, also pictures.
  void SetDirection(Qt::LayoutDirection direction);
  /// Shows other items. The selected one is kept, if it is still there, and the place that the list
  /// is scrolled to.
  void SetList(const ListState& list);
  /// Brings the dialog before the user.
  void Present();
  /// Tells the user something beside the dialog.
  void ShowMessage(const QString& text);

  void reject() override;

 protected:
  void contextMenuEvent(QContextMenuEvent* event) override;
  void changeEvent(QEvent* event) override;

 private:
  const ListItem* Selected() const;
  void AddItem(const ListItem& item);
  void FitGrid();
  void ShowWhatIsPossible();
  void ShowMenu(const QPoint& at);
  void Give(const QString& command);
  void Connect();

  Sinks sinks_;
  Pictures pictures_;
  ListState list_;
  QListWidget* items_;
  QPushButton* connect_;
  QPushButton* cancel_;
};

}  // namespace passbridge::explorer

#endif  // PASSBRIDGE_EXPLORER_EXPLORER_DIALOG_H_
