#include "ui/posix/view_session.h"

#include <poll.h>

#include <array>
#include <boost/chrono/ceil.hpp>
#include <charconv>
#include <utility>
#include <vector>

#include "platform/cancellation.h"
#include "ui/explorer_record.h"
#include "ui/interface_texts.h"

namespace passbridge {

namespace {

using platform::Deadline;
using platform::SteadyClock;

std::string NumberText(std::uint32_t number) { return std::to_string(number); }

std::string_view Flag(bool value) { return value ? "1" : "0"; }

std::string IdOf(const ExplorerItem& item) {
  return item.serialNumber ? NumberText(*item.serialNumber) : std::string();
}

std::optional<std::uint32_t> NumberOf(std::string_view text) {
  std::uint32_t number = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc() || stop != end) return std::nullopt;
  return number;
}

Deadline In(std::chrono::milliseconds time) {
  return platform::DeadlineIn(static_cast<std::uint32_t>(time.count()));
}

/// For poll.
int MillisecondsUntil(Deadline deadline) {
  const auto left = boost::chrono::ceil<boost::chrono::milliseconds>(deadline - SteadyClock::now());
  return left.count() > 0 ? static_cast<int>(left.count()) : 0;
}

}  // namespace

ViewSession::ViewSession(ViewProcess& process, ModuleNews& news, ViewLanguage language,
                         const ViewPatience& patience)
    : process_(process),
      news_(news),
      patience_(patience),
      rightToLeft_(language.rightToLeft),
      font_(language.font),
      model_(std::move(language.texts)),
      deadline_(In(patience.start)) {}

VciChoice ViewSession::Run() {
  SendOpening();
  if (const auto modules = AskForModules()) model_.Fill(*modules);
  SendList();
  const ModuleWatch watch(news_.Sinks());
  while (!end_) {
    const bool takes = process_.Flush();
    const bool gives = process_.Receive();
    const bool isClear = HandleLines();
    if (end_) break;
    if (!takes || !gives || !isClear || IsTooLate()) {
      HangUp();
      break;
    }
    Wait();
    ShowNews();
  }
  return *end_;
}

void ViewSession::SendOpening() {
  const ExplorerTexts& texts = model_.Texts();
  process_.Send(view::MakeLine({view::kHello, view::kVersion}));
  process_.Send(view::MakeLine({view::kTitle, texts[TextId::Title]}));
  process_.Send(view::MakeLine({view::kButtons, texts[TextId::Connect], texts[TextId::Cancel]}));
  process_.Send(
      view::MakeLine({view::kDirection, rightToLeft_ ? view::kRightToLeft : view::kLeftToRight}));
  if (!font_) return;
  process_.Send(view::MakeLine({view::kFont, font_->face, NumberText(LanguageFont::kHeight),
                                NumberText(LanguageFont::kWeight)}));
}

void ViewSession::SendList() {
  process_.Send(view::MakeLine({view::kList}));
  for (std::size_t item = 0; item < model_.Items().size(); ++item) SendItem(item);
  process_.Send(view::MakeLine({view::kShow}));
}

/// The model tells what can be done with the item that is selected.
void ViewSession::SendItem(std::size_t item) {
  const auto selected = model_.Selected();
  model_.Select(item);
  const ExplorerItem& shown = model_.Items()[item];
  process_.Send(view::MakeLine({view::kItem, IdOf(shown),
                                NumberText(static_cast<std::uint32_t>(shown.overlay)),
                                Flag(model_.CanConnect()), shown.label, model_.ToolTip(item)}));
  for (const ExplorerMenuItem& entry : model_.Menu()) {
    process_.Send(
        view::MakeLine({view::kMenu, NumberText(static_cast<std::uint32_t>(entry.command)),
                        Flag(entry.enabled), Flag(entry.checked), entry.text}));
    if (entry.command == Command::SetAsDefault) process_.Send(view::MakeLine({view::kSeparator}));
  }
  model_.Select(selected);
}

void ViewSession::Wait() {
  const short onSocket = process_.HasUnsent() ? POLLIN | POLLOUT : POLLIN;
  std::array<pollfd, 2> files{{{news_.Descriptor(), POLLIN, 0}, {process_.Socket(), onSocket, 0}}};
  const platform::CancellationPoint cancellation;
  ::poll(files.data(), files.size(), MillisecondsUntil(deadline_));
}

void ViewSession::ShowNews() {
  ModuleNews::Batch batch = news_.Take();
  for (const std::string& message : batch.messages) {
    process_.Send(view::MakeLine({view::kMessage, message}));
  }
  if (batch.lists.empty()) return;
  model_.Fill(ReadModules(std::move(batch.lists.back())));
  SendList();
}

/// Whether all was understood.
bool ViewSession::HandleLines() {
  while (!end_) {
    const std::optional<view::Fields> fields = process_.TakeLine();
    if (!fields) return true;
    if (!HandleLine(*fields)) return false;
    isAsked_ = false;
    deadline_ = In(patience_.ping);
  }
  return true;
}

bool ViewSession::HandleLine(const view::Fields& fields) {
  const std::string& word = fields.front();
  if (!isUp_) {
    isUp_ = word == view::kHello && fields.size() > 1 && fields[1] == view::kVersion;
    return isUp_;
  }
  if (word == view::kClosed) {
    HangUp();
    return true;
  }
  return word == view::kCommand ? HandleCommand(fields) : word == view::kPong;
}

bool ViewSession::HandleCommand(const view::Fields& fields) {
  if (fields.size() < 3) return false;
  const std::optional<std::uint32_t> command = NumberOf(fields[1]);
  if (!command) return false;
  model_.Select(ItemOf(fields[2]));
  switch (model_.Run(static_cast<Command>(*command))) {
    case ExplorerModel::Outcome::Chosen:
      end_ = model_.Result();
      break;
    case ExplorerModel::Outcome::Cancelled:
      HangUp();
      break;
    case ExplorerModel::Outcome::Stays:
      SendList();
      break;
  }
  return true;
}

std::optional<std::size_t> ViewSession::ItemOf(const std::string& id) const {
  const std::vector<ExplorerItem>& items = model_.Items();
  for (std::size_t i = 0; i < items.size(); ++i) {
    if (!id.empty() && IdOf(items[i]) == id) return i;
  }
  return std::nullopt;
}

/// Asks a program that has said nothing for a while.
bool ViewSession::IsTooLate() {
  if (SteadyClock::now() < deadline_) return false;
  if (!isUp_ || isAsked_) return true;
  process_.Send(view::MakeLine({view::kPing}));
  isAsked_ = true;
  deadline_ = In(patience_.answer);
  return false;
}

void ViewSession::HangUp() {
  model_.Run(Command::Cancel);
  end_ = isUp_ ? VciChoice{VciChoice::kCancelled, 0, InterfaceType::None} : VciChoice{};
}

}  // namespace passbridge
