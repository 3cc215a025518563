#include "conversation.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QAbstractButton>
#include <QApplication>
#include <QContextMenuEvent>
#include <QListWidget>
#include <QMenu>
#include <QMessageBox>
#include <QPushButton>
#include <QScrollBar>
#include <QTest>
#include <algorithm>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace passbridge::explorer {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

/// The program without its connection: lines go in, clicks and keys go to the real widgets, what
/// comes out is collected with "|" for tabs.
struct ConversationTest : testing::Test {
  ConversationTest() {
    Say({"passbridge-device-explorer", "1"});
    Say({"title", "Explorer"});
    Say({"buttons", "&Go", "Leave"});
  }

  void Say(const view::Fields& fields) { conversation.Handle(fields); }
  /// A list of items that can be connected or, if their ID is negative, cannot; these have no menu.
  void ShowList(const std::vector<int>& ids) {
    Say({"list"});
    for (const int id : ids) {
      const std::string text = std::to_string(std::abs(id));
      Say({"item", text, id < 0 ? "2" : "0", id < 0 ? "0" : "1", "SN " + text, "Tip " + text});
      if (id < 0) continue;
      Say({"menu", "32781", "1", "1", "Default"});
      Say({"separator"});
      Say({"menu", "32776", "1", "0", "USB"});
      Say({"menu", "32777", "0", "0", "Wireless"});
    }
    Say({"show"});
  }
  std::vector<std::string> Told() { return std::exchange(told, {}); }

  QListWidget& List() { return *conversation.Dialog().findChild<QListWidget*>(); }
  QPushButton& Button(const char* name) {
    return *conversation.Dialog().findChild<QPushButton*>(name);
  }
  QPoint PlaceOf(int row) { return List().visualItemRect(List().item(row)).center(); }
  void Click(int row, Qt::MouseButton button = Qt::LeftButton) {
    QTest::mouseClick(List().viewport(), button, {}, PlaceOf(row));
  }
  void AskForMenu(QContextMenuEvent::Reason reason, const QPoint& at) {
    QContextMenuEvent event(reason, at, List().viewport()->mapToGlobal(at));
    QApplication::sendEvent(List().viewport(), &event);
  }
  static QMenu* OpenMenu() { return qobject_cast<QMenu*>(QApplication::activePopupWidget()); }
  QImage PictureOf(int row) {
    return List()
        .item(row)
        ->icon()
        .pixmap(Pictures::kSize)
        .toImage()
        .convertToFormat(QImage::Format_ARGB32);
  }
  std::string SelectedText() {
    const auto selected = List().selectedItems();
    return selected.isEmpty() ? "" : selected.front()->text().toStdString();
  }

  std::vector<std::string> told;
  int ends = 0;
  Conversation conversation{[this](const std::string& line) {
    std::string text = line.substr(0, line.size() - 1);
    std::replace(text.begin(), text.end(), '\t', '|');
    told.push_back(text);
                            },
                            [this] { ++ends; }};
};

TEST_F(ConversationTest, ShowsWhatItIsTold) {
  EXPECT_FALSE(conversation.Dialog().isVisible()) << "before the first list";
  Say({"list"});
  Say({"item", "7", "0", "1", "SN 7\nDefault Device", "Interfaces"});
  Say({"item", "9", "2", "0", "SN 9", ""});
  EXPECT_EQ(List().count(), 0) << "the list is not whole";
  Say({"show"});
  EXPECT_TRUE(conversation.Dialog().isVisible());
  EXPECT_EQ(conversation.Dialog().windowTitle(), "Explorer");
  EXPECT_EQ(Button("connect").text(), "&Go");
  EXPECT_EQ(Button("cancel").text(), "Leave");
  ASSERT_EQ(List().count(), 2);
  EXPECT_EQ(List().item(0)->text(), "SN 7\nDefault Device");
  EXPECT_EQ(List().item(0)->toolTip(), "Interfaces");
  EXPECT_EQ(List().item(1)->text(), "SN 9");
  EXPECT_THAT(Told(), IsEmpty());
  Say({"message", "Something <b>odd</b>"});
  Say({"message", "Something <b>odd</b>"});
  const auto boxes = conversation.Dialog().findChildren<QMessageBox*>();
  ASSERT_EQ(boxes.size(), 1) << "said once while it is there";
  EXPECT_EQ(boxes.front()->text(), "Something <b>odd</b>");
  EXPECT_EQ(boxes.front()->textFormat(), Qt::PlainText);
}

TEST_F(ConversationTest, ShowsThePictureWithItsOverlay) {
  constexpr int kOverlays = 11;
  const auto show = [this](const char* direction) {
    Say({"direction", direction});
    Say({"list"});
    for (int i = 0; i < kOverlays; ++i) Say({"item", "7", std::to_string(i), "1", "", ""});
    Say({"item", "8", "99", "1", "", ""});
    Say({"show"});
    std::vector<QImage> pictures;
    for (int i = 0; i <= kOverlays; ++i) pictures.push_back(PictureOf(i));
    return pictures;
  };
  const std::vector<QImage> straight = show("ltr");
  const std::vector<QImage> fromTheRight = show("rtl");
  EXPECT_EQ(conversation.Dialog().layoutDirection(), Qt::RightToLeft);
  EXPECT_EQ(straight[0].size(), QSize(72, 112));
  EXPECT_NE(straight[0], straight[0].mirrored(true, false)) << "else one could not tell";
  EXPECT_EQ(straight[kOverlays], straight[0]) << "no such overlay";
  for (int i = 0; i < kOverlays; ++i) {
    EXPECT_EQ(fromTheRight[i], straight[i]) << i;
    for (int other = 0; other < i; ++other) EXPECT_NE(straight[i], straight[other]) << i;
  }
  // Signal strengths lie over the picture of a VCI, which they leave as it is below.
  EXPECT_EQ(straight[4].copy(0, 60, 72, 52), straight[0].copy(0, 60, 72, 52));
  const QIcon icon = List().item(0)->icon();
  EXPECT_EQ(icon.pixmap(Pictures::kSize, 2.0).size(), 2 * Pictures::kSize) << "on dense screens";
}

TEST_F(ConversationTest, LongLabelsHaveRoom) {
  ShowList({11});
  EXPECT_EQ(List().gridSize(), QSize(100, 160));
  Say({"list"});
  Say({"item", "7", "0", "1", "SN 7\none line\ntwo lines\nthree lines\nfour lines", ""});
  Say({"item", "8", "0", "1", "SN 8\nA line that is longer than any item is wide", ""});
  Say({"show"});
  const QFontMetrics metrics(List().font());
  EXPECT_GE(List().gridSize().height(), 112 + 5 * metrics.lineSpacing());
  EXPECT_GT(List().gridSize().width(), 100);
  EXPECT_LE(List().gridSize().width(), 150);
}

TEST_F(ConversationTest, ConnectIsThereForWhatCanBeConnected) {
  ShowList({11, -12});
  EXPECT_FALSE(Button("connect").isEnabled()) << "nothing is selected";
  Click(1);
  EXPECT_EQ(SelectedText(), "SN 12");
  EXPECT_FALSE(Button("connect").isEnabled());
  QTest::mouseDClick(List().viewport(), Qt::LeftButton, {}, PlaceOf(1));
  EXPECT_THAT(Told(), IsEmpty());
  Click(0);
  EXPECT_TRUE(Button("connect").isEnabled());
  QTest::mouseClick(&Button("connect"), Qt::LeftButton);
  EXPECT_THAT(Told(), ElementsAre("command|1010|11"));
  QTest::mouseDClick(List().viewport(), Qt::LeftButton, {}, PlaceOf(0));
  EXPECT_THAT(Told(), ElementsAre("command|1010|11"));
  EXPECT_EQ(ends, 0) << "the library decides";
}

TEST_F(ConversationTest, KeysDoTheSame) {
  ShowList({11, -12});
  QTest::keyClick(&List(), Qt::Key_Home);
  QTest::keyClick(&List(), Qt::Key_Space);
  EXPECT_EQ(SelectedText(), "SN 11");
  QTest::keyClick(&List(), Qt::Key_Return);
  EXPECT_THAT(Told(), ElementsAre("command|1010|11"));
  QTest::keyClick(&List(), Qt::Key_Right);
  EXPECT_EQ(SelectedText(), "SN 12");
  QTest::keyClick(&List(), Qt::Key_Return);
  EXPECT_THAT(Told(), ElementsAre("closed")) << "Cancel is what it presses";
  QTest::keyClick(&List(), Qt::Key_Escape);
  EXPECT_THAT(Told(), ElementsAre("closed"));
  EXPECT_EQ(ends, 2);
}

TEST_F(ConversationTest, CancelAndClosingTheWindowEndIt) {
  ShowList({});
  QTest::mouseClick(&Button("cancel"), Qt::LeftButton);
  EXPECT_THAT(Told(), ElementsAre("closed"));
  conversation.Dialog().close();
  EXPECT_THAT(Told(), ElementsAre("closed"));
  EXPECT_EQ(ends, 2);
}

TEST_F(ConversationTest, TheMenuIsTheSelectedItems) {
  ShowList({11, -12, 13});
  AskForMenu(QContextMenuEvent::Mouse, {300, 300});
  EXPECT_EQ(OpenMenu(), nullptr) << "nothing is selected";
  Click(1, Qt::RightButton);
  AskForMenu(QContextMenuEvent::Mouse, PlaceOf(1));
  EXPECT_EQ(OpenMenu(), nullptr);
  Click(2, Qt::RightButton);
  EXPECT_EQ(SelectedText(), "SN 13");
  AskForMenu(QContextMenuEvent::Mouse, PlaceOf(2));
  ASSERT_NE(OpenMenu(), nullptr);
  std::vector<std::string> shown;
  for (const QAction* const each : OpenMenu()->actions()) {
    shown.push_back(each->text().toStdString() + (each->isSeparator() ? "---" : "") +
                    (each->isEnabled() ? "" : "-") + (each->isChecked() ? "*" : ""));
  }
  EXPECT_THAT(shown, ElementsAre("Default*", "---", "USB", "Wireless-"));
  ShowList({11, 12});  // the item goes while its menu is open
  OpenMenu()->actions()[2]->trigger();
  EXPECT_THAT(Told(), ElementsAre("command|32776|13"));
  OpenMenu()->close();
  Click(0);
  AskForMenu(QContextMenuEvent::Keyboard, {});
  ASSERT_NE(OpenMenu(), nullptr);
  EXPECT_EQ(OpenMenu()->pos(), List().viewport()->mapToGlobal(PlaceOf(0)));
  OpenMenu()->actions()[0]->trigger();
  EXPECT_THAT(Told(), ElementsAre("command|32781|11"));
  OpenMenu()->close();
}

TEST_F(ConversationTest, AnotherListKeepsTheSelectionAndThePlace) {
  std::vector<int> many;
  for (int id = 100; id < 160; ++id) many.push_back(id);
  ShowList(many);
  List().setCurrentRow(30);
  List().verticalScrollBar()->setValue(200);
  many.erase(many.begin());
  ShowList(many);
  EXPECT_EQ(SelectedText(), "SN 130");
  EXPECT_EQ(List().verticalScrollBar()->value(), 200);
  EXPECT_TRUE(Button("connect").isEnabled());
  many[29] = -130;
  ShowList(many);
  EXPECT_EQ(SelectedText(), "SN 130");
  EXPECT_FALSE(Button("connect").isEnabled());
  ShowList({11});
  EXPECT_EQ(SelectedText(), "");
  EXPECT_FALSE(Button("connect").isEnabled());
  Say({"list"});
  Say({"item", "", "3", "0", "", ""});
  Say({"show"});
  Click(0);
  EXPECT_FALSE(Button("connect").isEnabled()) << "a placeholder";
}

TEST_F(ConversationTest, WhatIsNotUnderstoodIsPassedOver) {
  ShowList({11});
  for (const view::Fields& line : std::vector<view::Fields>{{""},
                                                            {"item"},
                                                            {"item", "1", "2", "3", "4"},
                                                            {"title"},
                                                            {"tomorrow", "x"},
                                                            {"font", "No Such Face", "-1", "99999"},
                                                            {"font", "x"},
                                                            {"direction", "up"},
                                                            {"menu", "1"}})
    Say(line);
  Say({"list"});
  Say({"menu", "1", "1", "1", "of nothing"});
  Say({"separator"});
  Say({"item", "x\\y", "-7", "yes", "\xFF\xFE", "tip", "more"});
  Say({"show", "more"});
  ASSERT_EQ(List().count(), 1);
  EXPECT_EQ(conversation.Dialog().windowTitle(), "Explorer");
  Say({"ping"});
  EXPECT_THAT(Told(), ElementsAre("pong"));
  EXPECT_EQ(ends, 0);
  for (const view::Fields& line :
       {view::Fields{"passbridge-device-explorer", "2"}, {"list"}, {""}}) {
    Conversation other([](const std::string&) {}, [this] { ++ends; });
    other.Handle(line);
  }
  EXPECT_EQ(ends, 3) << "a library of another version";
}

/// Offscreen: no display, but the widgets are the real ones.
struct QtApplication : testing::Environment {
  void SetUp() override { application.emplace(count, arguments); }
  void TearDown() override { application.reset(); }

  int count = 1;
  char name[5] = "test";
  char* arguments[2] = {name, nullptr};
  std::optional<QApplication> application;
};

const testing::Environment* const kApplication =
    testing::AddGlobalTestEnvironment(new QtApplication);

}  // namespace
}  // namespace passbridge::explorer
