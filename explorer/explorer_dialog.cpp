#include "explorer_dialog.h"

#include <QContextMenuEvent>
#include <QFontDatabase>
#include <QHBoxLayout>
#include <QListWidget>
#include <QMenu>
#include <QMessageBox>
#include <QPushButton>
#include <QScrollBar>
#include <QSignalBlocker>
#include <QVBoxLayout>
#include <algorithm>
#include <utility>

#include "ui/posix/view_lines.h"

namespace passbridge::explorer {
namespace {

constexpr QSize kDialogSize(626, 535);
constexpr QSize kSpacing(100, 160);
constexpr int kWidestItem = 150;
constexpr QSize kButtonSize(120, 32);
constexpr int kTextMargin = 6;

}  // namespace

ExplorerDialog::ExplorerDialog(Sinks sinks)
    : sinks_(std::move(sinks)),
      items_(new QListWidget(this)),
      connect_(new QPushButton(this)),
      cancel_(new QPushButton(this)) {
  items_->setObjectName("vcis");
  connect_->setObjectName("connect");
  cancel_->setObjectName("cancel");
  items_->setViewMode(QListView::IconMode);
  items_->setIconSize(Pictures::kSize);
  items_->setMovement(QListView::Static);
  items_->setResizeMode(QListView::Adjust);
  items_->setSelectionMode(QAbstractItemView::SingleSelection);
  items_->setWordWrap(true);
  items_->setContextMenuPolicy(Qt::NoContextMenu);  // the dialog has one
  connect_->setMinimumSize(kButtonSize);
  cancel_->setMinimumSize(kButtonSize);

  auto* const buttons = new QHBoxLayout;
  buttons->addStretch();
  buttons->addWidget(connect_);
  buttons->addWidget(cancel_);
  buttons->addStretch();
  auto* const layout = new QVBoxLayout(this);
  layout->addWidget(items_);
  layout->addLayout(buttons);
  resize(kDialogSize);

  connect(items_, &QListWidget::itemSelectionChanged, this, [this] { ShowWhatIsPossible(); });
  connect(items_, &QListWidget::itemDoubleClicked, this, [this] { Connect(); });
  connect(connect_, &QPushButton::clicked, this, [this] { Connect(); });
  connect(cancel_, &QPushButton::clicked, this, [this] { reject(); });
  ShowWhatIsPossible();
}

void ExplorerDialog::SetButtonTexts(const QString& connect, const QString& cancel) {
  connect_->setText(connect);
  cancel_->setText(cancel);
}

void ExplorerDialog::SetFontFace(const QString& face, int pixels, int weight) {
  if (!QFontDatabase::families().contains(face) || pixels <= 0) return;
  QFont font(face);
  font.setPixelSize(pixels);
  font.setWeight(static_cast<QFont::Weight>(std::clamp(weight, 1, 1000)));
  setFont(font);
}

void ExplorerDialog::SetDirection(Qt::LayoutDirection direction) {
  setLayoutDirection(direction);
  SetList(list_);
}

void ExplorerDialog::SetList(const ListState& list) {
  const ListItem* const selected = Selected();
  const bool wasSelected = selected != nullptr;
  const QString id = wasSelected ? selected->id : QString();
  const QPoint place(items_->horizontalScrollBar()->value(), items_->verticalScrollBar()->value());
  {
    const QSignalBlocker quiet(items_);
    items_->clear();
    list_ = list;
    for (const ListItem& item : list_) AddItem(item);
    FitGrid();
    for (int row = 0; wasSelected && row < list_.size(); ++row) {
      if (list_[row].id == id) items_->setCurrentRow(row);
    }
  }
  items_->horizontalScrollBar()->setValue(place.x());
  items_->verticalScrollBar()->setValue(place.y());
  ShowWhatIsPossible();
}

void ExplorerDialog::AddItem(const ListItem& item) {
  auto* const shown = new QListWidgetItem(pictures_.IconOf(item.overlay), item.label, items_);
  shown->setToolTip(item.toolTip);
  shown->setTextAlignment(Qt::AlignHCenter | Qt::AlignTop);
}

/// Labels that need more room than the usual get it; lines that would be very wide are broken.
void ExplorerDialog::FitGrid() {
  const QFontMetrics metrics(items_->font());
  const auto sizeOf = [&](const QString& label, int width, int flags) {
    const QRect room(0, 0, width - 2 * kTextMargin, QWIDGETSIZE_MAX);
    return metrics.boundingRect(room, Qt::AlignHCenter | flags, label).size();
  };
  QSize grid = kSpacing;
  for (const ListItem& item : std::as_const(list_)) {
    const int width = sizeOf(item.label, kWidestItem, 0).width() + 2 * kTextMargin;
    grid.setWidth(std::clamp(width, grid.width(), kWidestItem));
  }
  for (const ListItem& item : std::as_const(list_)) {
    const int height = sizeOf(item.label, grid.width(), Qt::TextWordWrap).height();
    grid.setHeight(std::max(grid.height(), Pictures::kSize.height() + height + 2 * kTextMargin));
  }
  items_->setGridSize(grid);
}

const ListItem* ExplorerDialog::Selected() const {
  const QListWidgetItem* const item = items_->currentItem();
  if (item == nullptr || !item->isSelected()) return nullptr;
  return &list_[items_->row(item)];
}

/// Return presses Connect where that is possible, else Cancel.
void ExplorerDialog::ShowWhatIsPossible() {
  const ListItem* const selected = Selected();
  const bool canConnect = selected != nullptr && selected->canConnect;
  connect_->setEnabled(canConnect);
  (canConnect ? connect_ : cancel_)->setDefault(true);
}

void ExplorerDialog::Present() {
  showNormal();
  raise();
  activateWindow();
  items_->setFocus();
}

void ExplorerDialog::ShowMessage(const QString& text) {
  for (const QMessageBox* const shown : findChildren<QMessageBox*>()) {
    if (shown->text() == text) return;
  }
  auto* const box =
      new QMessageBox(QMessageBox::Warning, windowTitle(), text, QMessageBox::Ok, this);
  box->setTextFormat(Qt::PlainText);
  box->setAttribute(Qt::WA_DeleteOnClose);
  box->open();
}

void ExplorerDialog::reject() { sinks_.closed(); }

void ExplorerDialog::changeEvent(QEvent* event) {
  QDialog::changeEvent(event);
  if (event->type() == QEvent::FontChange) FitGrid();
}

void ExplorerDialog::Give(const QString& command) {
  const ListItem* const selected = Selected();
  if (selected != nullptr) sinks_.command(command, selected->id);
}

void ExplorerDialog::Connect() {
  if (connect_->isEnabled()) Give(view::kConnect);
}

/// At the pointer, or for a key at the selected item.
void ExplorerDialog::contextMenuEvent(QContextMenuEvent* event) {
  const QListWidgetItem* const item = items_->currentItem();
  const bool byKey = event->reason() == QContextMenuEvent::Keyboard && item != nullptr;
  ShowMenu(byKey ? items_->viewport()->mapToGlobal(items_->visualItemRect(item).center())
                 : event->globalPos());
}

/// It commands the item that it was opened for, even if another list has come meanwhile.
void ExplorerDialog::ShowMenu(const QPoint& at) {
  const ListItem* const selected = Selected();
  if (selected == nullptr || selected->menu.isEmpty()) return;
  auto* const menu = new QMenu(this);
  menu->setAttribute(Qt::WA_DeleteOnClose);
  for (const MenuEntry& entry : selected->menu) {
    if (entry.command.isEmpty()) {
      menu->addSeparator();
      continue;
    }
    QAction* const action = menu->addAction(entry.text);
    action->setEnabled(entry.enabled);
    action->setCheckable(entry.checked);
    action->setChecked(entry.checked);
    connect(action, &QAction::triggered, this,
            [this, command = entry.command, id = selected->id] { sinks_.command(command, id); });
  }
  menu->popup(at);
}

}  // namespace passbridge::explorer
