// SPDX-License-Identifier: MIT
#include "platform/toolkit/qt/status_line.h"

#include <QAccessible>
#include <QAccessibleWidget>
#include <QMetaObject>
#include <QString>
#include <algorithm>
#include <array>

#include "platform/notices/notices.h"
#include "platform/toolkit/qt/announcer.h"

namespace qt_toolkit {

namespace {

struct Line {
  Notice notice;
  bool concernsChoices;
  const char* text;
  const char* advice;
};

// In the order of their importance.
constexpr std::array kLines{
    Line{Notice::kDriverAbsent, false, "The driver service is not running",
         "Start it with “systemctl --user start vx310-driver”. A connected interface then appears "
         "by itself."},
    Line{Notice::kAudioDeviceAbsent, true, "No audio device: routing cannot be changed",
         "The interface has no audio device in PipeWire. Start PipeWire with “systemctl --user "
         "start pipewire”, then pick the routing again."},
    Line{Notice::kChoiceRefused, true, "The interface did not take the last choice",
         "It keeps its former setting. Pick the item again, or another one."},
    Line{Notice::kRoutingUnconfirmed, true, "The last routing was not confirmed",
         "The driver service or PipeWire did not answer in time, and the interface may have "
         "another routing than the menu shows. Pick the routing again."},
    Line{Notice::kHelpNotOpened, false, "The help page could not be opened",
         "Install a web browser, or choose the desktop's browser, then press the button again."}};
static_assert(kLines.size() == static_cast<std::size_t>(Notice::kCount));

QAccessibleInterface* describe(const QString&, QObject* object) {
  auto* line = qobject_cast<StatusLine*>(object);
  return line ? new QAccessibleWidget(line, QAccessible::StatusBar) : nullptr;
}

}  // namespace

StatusLine::StatusLine(QWidget* parent) : QLabel(parent) {
  QAccessible::installFactory(describe);  // a factory that is installed already is not added again
  setTextFormat(Qt::PlainText);
  const auto post = [](void* self) {
    auto* line = static_cast<StatusLine*>(self);
    QMetaObject::invokeMethod(
        line, [line] { line->showNotice(); }, Qt::QueuedConnection);
  };
  setNoticeListener(post, this);
  showNotice();
}

StatusLine::~StatusLine() { setNoticeListener(nullptr, nullptr); }

void StatusLine::setMenusShown(bool shown) {
  menusShown_ = shown;
  if (!shown) {
    setNotice(Notice::kChoiceRefused, false);
    setNotice(Notice::kRoutingUnconfirmed, false);
  }
  showNotice();
}

void StatusLine::showNotice() {
  const auto line = std::ranges::find_if(kLines, [this](const Line& candidate) {
    return (menusShown_ || !candidate.concernsChoices) && hasNotice(candidate.notice);
  });
  const bool found = line != kLines.end();
  const QString text = found ? QString::fromUtf8(line->text) : QString();
  if (text == this->text() && found != isHidden()) return;
  const QString advice = found ? QString::fromUtf8(line->advice) : QString();
  setText(text);
  setToolTip(found ? QStringLiteral("<p>%1</p>").arg(advice) : QString());  // markup wraps
  setAccessibleName(text);
  setAccessibleDescription(advice);
  setHidden(!found);
  Announcer::announce(*this, text);
}

}  // namespace qt_toolkit
