#include "conversation.h"

#include <iterator>
#include <string_view>
#include <utility>

namespace passbridge::explorer {
namespace {

using Line = std::vector<QString>;

QString TextOf(const std::string& field) {
  return QString::fromUtf8(field.data(), static_cast<qsizetype>(field.size()));
}

bool IsSet(const QString& flag) { return flag == "1"; }

Qt::LayoutDirection DirectionOf(const QString& word) {
  return word.toStdString() == view::kRightToLeft ? Qt::RightToLeft : Qt::LeftToRight;
}

/// What a line says of the dialog itself.
struct DialogWord {
  std::string_view word;
  std::size_t fields;  // with the word
  void (*apply)(ExplorerDialog& dialog, const Line& line);
};

constexpr DialogWord kDialogWords[] = {
    {view::kTitle, 2,
     [](ExplorerDialog& dialog, const Line& line) { dialog.setWindowTitle(line[1]); }},
    {view::kButtons, 3,
     [](ExplorerDialog& dialog, const Line& line) { dialog.SetButtonTexts(line[1], line[2]); }},
    {view::kDirection, 2,
     [](ExplorerDialog& dialog, const Line& line) { dialog.SetDirection(DirectionOf(line[1])); }},
    {view::kFont, 4,
     [](ExplorerDialog& dialog,
        const Line& line) { dialog.SetFontFace(line[1], line[2].toInt(), line[3].toInt()); }},
    {view::kMessage, 2,
     [](ExplorerDialog& dialog, const Line& line) { dialog.ShowMessage(line[1]); }},
};

/// What a line adds to a list.
struct ListWord {
  std::string_view word;
  std::size_t fields;
  void (*apply)(ListState& list, const Line& line);
};

constexpr ListWord kListWords[] =
    {
        {view::kList, 1, [](ListState& list, const Line&) { list.clear(); }},
        {view::kItem, 6,
         [](ListState& list, const Line& line) {
  list.push_back({line[1], line[2].toInt(), IsSet(line[3]), line[4], line[5], {}});
         }},
        {view::kMenu, 5,
         [](ListState& list, const Line& line) {
  if (list.isEmpty()) return;
  list.back().menu.push_back({line[1], line[4], IsSet(line[2]), IsSet(line[3])});
         }},
                   {view::kSeparator, 1,
                    [](ListState& list, const Line&) {
  if (!list.isEmpty()) list.back().menu.push_back({});
                    }},
    };

template <typename Words, typename Target>
void Apply(const Words& words, Target& target, const std::string& name, const Line& line) {
  for (const auto& each : words) {
    if (each.word == name && line.size() >= each.fields) each.apply(target, line);
  }
}

}  // namespace

Conversation::Conversation(std::function<void(const std::string& line)> send,
                           std::function<void()> end)
    : send_(std::move(send)),
      end_(std::move(end)),
      dialog_({[this](const QString& command, const QString& id) {
  Send({view::kCommand, command.toStdString(), id.toStdString()});
               },
               [this] {
  Send({view::kClosed});
  end_();
      }}) {}

void Conversation::Send(const std::vector<std::string_view>& fields) {
  send_(view::MakeLine(fields));
}

void Conversation::Begin() { Send({view::kHello, view::kVersion}); }

void Conversation::Handle(const view::Fields& fields) {
  const std::string& word = fields.front();
  if (!isGreeted_) {
    isGreeted_ = fields.size() > 1 && word == view::kHello && fields[1] == view::kVersion;
    if (!isGreeted_) end_();
    return;
  }
  if (word == view::kPing) Send({view::kPong});
  Line line;
  for (const std::string& field : fields) line.push_back(TextOf(field));
  Apply(kDialogWords, dialog_, word, line);
  Apply(kListWords, list_, word, line);
  if (word != view::kShow) return;
  dialog_.SetList(list_);
  if (!dialog_.isVisible()) dialog_.Present();
}

}  // namespace passbridge::explorer
