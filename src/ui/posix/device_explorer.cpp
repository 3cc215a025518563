#include "ui/device_explorer.h"

#include <memory>
#include <string>

#include "ui/posix/module_news.h"
#include "ui/posix/view_files.h"
#include "ui/posix/view_process.h"
#include "ui/posix/view_session.h"

namespace passbridge {

VciChoice ShowDeviceExplorer() {
  const std::string program = FindViewProgram();
  if (program.empty()) return {};
  ModuleNews news;
  if (!news) return {};
  const std::unique_ptr<ViewProcess> process = ViewProcess::Start(program);
  if (!process) return {};
  return ViewSession(*process, news, ReadViewLanguage(), ViewPatience()).Run();
}

}  // namespace passbridge
