#include "posix/view_fixture.h"

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <thread>

#include "pdu/item.h"
#include "ui/device_explorer.h"
#include "ui/posix/module_news.h"
#include "ui/posix/view_files.h"
#include "ui/posix/view_process.h"

namespace passbridge::test {

namespace {

struct Variable {
  const char* name;
  const char* value;
};

constexpr Variable kVariables[] = {{"DISPLAY", ":of-nobody"},
                                   {"PASSBRIDGE_DEVICE_EXPLORER", STAND_IN_PROGRAM},
                                   {"PASSBRIDGE_TEXTS", TEXTS_FOLDER},
                                   {"PASSBRIDGE_LANGUAGE", "en"}};

std::string NewFile() {
  std::string path = "/tmp/passbridge-stand-in-XXXXXX";
  const int file = ::mkstemp(path.data());
  if (file >= 0) ::close(file);
  return path;
}

/// Events that came after the dialog's end.
void DropEvents() {
  for (pdu::Item<PDU_EVENT_ITEM> item;;) {
    pdu::Api().PDUGetEventItem(PDU_HANDLE_UNDEF, PDU_HANDLE_UNDEF, item.Out());
    if (!item) return;
  }
}

}  // namespace

ViewFixture::ViewFixture() : log_(NewFile()), openFiles_(OpenFiles()) {
  for (const Variable& each : kVariables) ::setenv(each.name, each.value, 1);
  ::setenv("STAND_IN_LOG", log_.c_str(), 1);
}

ViewFixture::~ViewFixture() {
  DropEvents();
  EXPECT_EQ(pdu.Items().Alive(), 0U);
  EXPECT_EQ(pdu.Items().WrongDestroys(), 0U);
  EXPECT_EQ(pdu.CallbackOf(PDU_HANDLE_UNDEF, PDU_HANDLE_UNDEF), nullptr);
  EXPECT_FALSE(HasChild());
  EXPECT_EQ(OpenFiles(), openFiles_);
  for (const Variable& each : kVariables) ::unsetenv(each.name);
  std::remove(log_.c_str());
}

VciChoice ViewFixture::Show(const std::string& steps) {
  ::setenv("STAND_IN", steps.c_str(), 1);
  return ShowDeviceExplorer();
}

VciChoice ViewFixture::Show(const std::string& steps, const ViewPatience& patience) {
  ::setenv("STAND_IN", steps.c_str(), 1);
  ModuleNews news;
  const std::unique_ptr<ViewProcess> process = ViewProcess::Start(STAND_IN_PROGRAM);
  return ViewSession(*process, news, ReadViewLanguage(), patience).Run();
}

void ViewFixture::AwaitOpening() {
  while (pdu.CallbackOf(PDU_HANDLE_UNDEF, PDU_HANDLE_UNDEF) == nullptr) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
}

void ViewFixture::ChangeModules() {
  pdu.Queue(PDU_HANDLE_UNDEF, PDU_HANDLE_UNDEF, pdu.Items().MakeInfo(PDU_INFO_MODULE_LIST_CHG));
  pdu.Signal(PDU_HANDLE_UNDEF, PDU_HANDLE_UNDEF);
}

std::string ViewFixture::Said(const VciChoice& choice) {
  if (choice.IsCancelled()) return choice.serialNumber == 0 ? "cancelled" : "odd";
  if (!choice.IsMade()) return "nothing";
  return std::to_string(choice.moduleHandle) + " " + std::to_string(choice.serialNumber) + " " +
         std::to_string(static_cast<std::uint32_t>(choice.interfaceType));
}

std::vector<std::string> ViewFixture::Log() const {
  std::ifstream file(log_);
  std::vector<std::string> lines;
  for (std::string line; std::getline(file, line);) {
    std::replace(line.begin(), line.end(), '\t', '|');
    lines.push_back(line);
  }
  return lines;
}

void ViewFixture::ForgetLog() const { std::ofstream(log_, std::ios::trunc).flush(); }

std::size_t ViewFixture::OpenFiles() {
  const std::filesystem::directory_iterator files("/proc/self/fd");
  return static_cast<std::size_t>(std::distance(begin(files), end(files)));
}

bool ViewFixture::HasChild() { return ::waitpid(-1, nullptr, WNOHANG) >= 0; }

}  // namespace passbridge::test
