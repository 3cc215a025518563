#ifndef PASSBRIDGE_UI_EXPLORER_MODEL_H_
#define PASSBRIDGE_UI_EXPLORER_MODEL_H_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "server/device_selection.h"
#include "server/selection_settings.h"
#include "ui/explorer_record.h"
#include "ui/explorer_texts.h"
#include "ui/interface_texts.h"

namespace passbridge {

/// One item of the dialog's list.
struct ExplorerItem {
  std::optional<std::uint32_t> serialNumber;  ///< nothing: the placeholder of an empty list
  std::string label;                          ///< UTF-8, lines separated by TextId::LineBreak
  Overlay overlay = Overlay::None;
};

struct ExplorerMenuItem {
  Command command;
  std::string text;
  bool enabled;
  bool checked;
};

/// The device explorer without its windows: which VCIs the list shows and how, what the user can
/// do with the selected one, and what comes of it. A view shows Items(), tells what is selected,
/// hands over commands, and shows everything again after Fill and after a command. One thread.
class ExplorerModel {
 public:
  enum class Outcome { Stays, Chosen, Cancelled };

  /// Reads the order of interfaces; the list is empty, without a placeholder.
  explicit ExplorerModel(ExplorerTexts texts);

  /// Makes the list anew. The VCI that was selected still is, if it is still there. The settings
  /// are read again, so that a default device that was set elsewhere shows.
  void Fill(const std::vector<ModuleEntry>& modules);

  const ExplorerTexts& Texts() const { return texts_; }
  /// In ascending order of serial numbers; a filled list has one item at least.
  const std::vector<ExplorerItem>& Items() const { return items_; }
  /// Null for the placeholder, and beyond the list.
  const ExplorerRecord* RecordOf(std::size_t item) const;

  std::optional<std::size_t> Selected() const { return selected_; }
  /// Nothing, or an index beyond the list: no item is.
  void Select(std::optional<std::size_t> item);

  /// Whether the button Connect is enabled: the selected VCI is available.
  bool CanConnect() const;
  /// Empty for the placeholder, and beyond the list.
  std::string ToolTip(std::size_t item) const;
  /// Set as default, after which comes a separator, then the interfaces. Empty unless the selected
  /// VCI is available: then there is no menu.
  std::vector<ExplorerMenuItem> Menu() const;

  /// Chosen and Cancelled end the dialog. A command that is not possible does nothing.
  Outcome Run(Command command);

  /// Whole after Outcome::Chosen; else all of it is 0.
  const VciChoice& Result() const { return result_; }

 private:
  const ExplorerRecord* SelectedRecord() const;
  const ExplorerRecord* SelectedAvailable() const;
  std::optional<std::size_t> ItemOf(std::uint32_t serialNumber) const;
  /// The first enabled interface of the order that the VCI offers; else None.
  InterfaceType PreferredInterface(const ExplorerRecord& record) const;
  void ShowRecords();
  bool ConnectOver(InterfaceType type);
  bool ConnectByOrder();
  void SetAsDefault();

  ExplorerTexts texts_;
  OrderList interfaceOrder_ = OrderList::InterfaceTypeOrder();
  ExplorerRecords records_;
  std::vector<ExplorerItem> items_;
  std::optional<std::size_t> selected_;
  VciChoice result_;
};

}  // namespace passbridge

#endif  // PASSBRIDGE_UI_EXPLORER_MODEL_H_
