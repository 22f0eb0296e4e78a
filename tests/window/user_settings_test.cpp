// SPDX-License-Identifier: MIT
// The window under the user's settings: scales, sizes of the system's font, and high contrast.
// Every check looks at the window as it is laid out and painted.
#include <gmock/gmock.h>

#include <QAbstractButton>
#include <QApplication>
#include <QComboBox>
#include <QDeadlineTimer>
#include <QEventLoop>
#include <QFont>
#include <QHash>
#include <QImage>
#include <QLabel>
#include <QPalette>
#include <QScrollBar>
#include <QStyle>
#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "platform/notices/notices.h"
#include "platform/toolkit/qt/qt_nib.h"
#include "platform/toolkit/qt/testing/contrast.h"
#include "platform/toolkit/toolkit.h"

namespace {

struct Settings {
  const char* name;
  double fontSize;  // relative to the usual size
  enum { Usual, BlackOnWhite, WhiteOnBlack } colours;
  bool setWhileOpen = false;  // the window opens with other ones
};

// For the names of the tests.
void PrintTo(const Settings& settings, std::ostream* out) { *out << settings.name; }

constexpr const char* kScales[] = {"1", "1.25", "1.5", "2", "3"};
constexpr Settings kSettings[] = {
    {"Usual", 1, Settings::Usual},
    {"LargeFont", 1.5, Settings::Usual},
    {"HighContrast", 1, Settings::BlackOnWhite},
    {"LargeFontAndHighContrast", 1.5, Settings::WhiteOnBlack},
    {"UsualWhileOpen", 1, Settings::Usual, true},
    {"LargeFontWhileOpen", 1.5, Settings::Usual, true},
    {"HighContrastWhileOpen", 1, Settings::BlackOnWhite, true},
    {"LargeFontAndHighContrastWhileOpen", 1.5, Settings::WhiteOnBlack, true},
};

// What the user has while the window opens, and then changes.
constexpr Settings kOther[] = {{"", 1.25, Settings::Usual}, {"", 1.7, Settings::BlackOnWhite}};

// The longest text of each field.
constexpr std::tuple<const char*, const char*> kTexts[] = {
    {"KvPanelSubTitle", "VX-310 Control Panel"},
    {"KvSampleRateField", "176.4 kHz"},
    {"KvSampleClockSourceField", "digital input"},
    {"KvDigitalInputStatusField", "muted 176.4 kHz"},
    {"KvSampleWidthField", "24 bits"},
    {"KvConnectionTypeField", "USB 1.1 (unsupported) "},
    {"KvFirmwareVersionField", "Mar 14 2009 1.7"},
    {"KvDriverVersionField", "255.255.255"},
    {"KvDeviceField", "VANTREL VX-310 MMMMM"},
};

QPalette highContrast(const QColor& text, const QColor& ground) {
  QPalette palette;
  for (const auto role : {QPalette::Window, QPalette::Base, QPalette::Button,
                          QPalette::AlternateBase, QPalette::HighlightedText}) {
    palette.setColor(role, ground);
  }
  for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText,
                          QPalette::BrightText, QPalette::Highlight}) {
    palette.setColor(role, text);
  }
  return palette;
}

QRgb mostFrequentColour(const QImage& image) {
  QHash<QRgb, int> counts;
  for (int y = 0; y < image.height(); ++y) {
    for (int x = 0; x < image.width(); ++x) ++counts[image.pixel(x, y)];
  }
  QRgb colour = 0;
  int most = 0;
  for (auto at = counts.begin(); at != counts.end(); ++at) {
    if (at.value() > most) {
      colour = at.key();
      most = at.value();
    }
  }
  return colour;
}

// The highest contrast of any pixel with `ground`.
double highestContrast(const QImage& image, const QColor& ground) {
  double highest = 1;
  for (int y = 0; y < image.height(); ++y) {
    for (int x = 0; x < image.width(); ++x) {
      highest = std::max(highest, contrast(image.pixelColor(x, y), ground));
    }
  }
  return highest;
}

// A change is told to the application, then to the window, which follows and is laid out: each step
// is an event that the one before has posted, until there is none left.
void letTheWindowFollow() {
  QEventLoop events;
  const QDeadlineTimer limit(std::chrono::seconds(20));
  while (events.processEvents()) ASSERT_FALSE(limit.hasExpired());
}

class UserSettings : public testing::TestWithParam<std::tuple<const char*, Settings>> {
 protected:
  UserSettings() {
    setenv("QT_QPA_PLATFORM", "offscreen", 1);
    setenv("QT_SCALE_FACTOR", std::get<0>(GetParam()), 1);
    application_.emplace(argumentCount_, arguments_);
    QApplication::setStyle(QStringLiteral("fusion"));
    const QFont font = QApplication::font();
    const QPalette palette = QApplication::palette();
    const auto set = [&](const Settings& chosen) {
      QFont chosenFont = font;
      chosenFont.setPointSizeF(font.pointSizeF() * chosen.fontSize);
      QApplication::setFont(chosenFont);
      QApplication::setPalette(chosen.colours == Settings::Usual ? palette
                               : chosen.colours == Settings::BlackOnWhite
                                   ? highContrast(Qt::black, Qt::white)
                                   : highContrast(Qt::white, Qt::black));
      letTheWindowFollow();
    };
    set(settings().setWhileOpen ? kOther[hasHighContrast() ? 0 : 1] : settings());
    nib_.emplace();
    for (QLabel* label : window().findChildren<QLabel*>()) {
      // The hints and the status line stand where other controls do, and are shown in place of
      // them.
      if (label->size().isEmpty() || label->objectName().endsWith("Hint") ||
          label->objectName() == "StatusLine") {
        continue;
      }
      label->show();
    }
    for (QComboBox* menu : window().findChildren<QComboBox*>()) {
      menu->setCurrentIndex(0);
      menu->show();
    }
    window().show();
    QApplication::processEvents();  // lays the window out
    for (const auto& [field, text] : kTexts) nib_->textField(field).setStringValue(text);
    if (!settings().setWhileOpen) return;
    set(settings());
  }
  ~UserSettings() override { unsetenv("QT_SCALE_FACTOR"); }

  static const Settings& settings() { return std::get<1>(GetParam()); }
  static bool hasHighContrast() { return settings().colours != Settings::Usual; }
  QWidget& window() { return nib_->window(); }

  template <typename Widget>
  Widget* find(const char* name) {
    return window().findChild<Widget*>(QString::fromLatin1(name));
  }

  // The visible texts, pictures, menus and buttons.
  std::vector<QWidget*> shown() {
    std::vector<QWidget*> controls;
    for (QWidget* widget : window().findChildren<QWidget*>()) {
      if (!widget->isVisible() || widget->window() != &window()) continue;
      if (qobject_cast<QLabel*>(widget) || qobject_cast<QComboBox*>(widget) ||
          qobject_cast<QAbstractButton*>(widget)) {
        controls.push_back(widget);
      }
    }
    return controls;
  }

  QRect placeOf(const QWidget& widget) {
    return {widget.mapTo(&window(), QPoint()), widget.size()};
  }

  // A part of the painted window, in the pixels of the screen.
  QImage painted(const QRect& place) { return window().grab(place).toImage(); }

 private:
  int argumentCount_ = 1;
  char programName_[11] = "panel-test";
  char* arguments_[2] = {programName_, nullptr};
  std::optional<QApplication> application_;
  std::optional<qt_toolkit::QtNib> nib_;
};

TEST_P(UserSettings, NothingIsCutOrOverlapsOrScrolls) {
  const std::vector<QWidget*> controls = shown();
  EXPECT_EQ(controls.size(), 42U);
  for (auto one = controls.begin(); one != controls.end(); ++one) {
    const std::string name = (*one)->objectName().toStdString();
    const auto* label = qobject_cast<QLabel*>(*one);
    if (!label || label->pixmap().isNull()) {
      const QSize needed =
          qobject_cast<QComboBox*>(*one) ? (*one)->minimumSizeHint() : (*one)->sizeHint();
      EXPECT_LE(needed.width(), (*one)->width()) << name;
      EXPECT_LE(needed.height(), (*one)->height()) << name;
    }
    EXPECT_TRUE((*one)->parentWidget()->rect().contains((*one)->geometry())) << name;
    EXPECT_EQ((*one)->visibleRegion().boundingRect(), (*one)->rect()) << name;
    for (auto other = one + 1; other != controls.end(); ++other) {
      EXPECT_FALSE(placeOf(**one).intersects(placeOf(**other)))
          << name << ", " << (*other)->objectName().toStdString();
    }
  }
  for (const auto& [field, text] : kTexts) {
    EXPECT_EQ(find<QLabel>(field)->text(), text) << field;
  }
  for (const QScrollBar* bar : window().findChildren<QScrollBar*>()) EXPECT_FALSE(bar->isVisible());
}

TEST_P(UserSettings, TheArrowsOfMenusFollowTheSystemsFont) {
  const auto* menu = find<QComboBox>("KvIoRInCh1And2Menu");
  const QRect place = placeOf(*menu);
  const int side = place.height();
  const QImage end = painted(QRect(place.right() - side + 4, place.top() + 4, side - 8, side - 8));
  const QRgb ground = mostFrequentColour(end);
  QRect arrow;
  for (int y = 0; y < end.height(); ++y) {
    for (int x = 0; x < end.width(); ++x) {
      if (contrast(end.pixelColor(x, y), ground) > 2) arrow |= QRect(x, y, 1, 1);
    }
  }
  const double point = end.devicePixelRatio() * settings().fontSize;
  EXPECT_NEAR(arrow.width() / point, 8, 1.5);
  EXPECT_NEAR(arrow.height() / point, 11.5, 1.5);
}

TEST_P(UserSettings, EachTextOfTheStatusLineFits) {
  auto* line = find<QLabel>("StatusLine");
  find<QWidget>("KvCoreAudioPerformanceMenu")->hide();
  find<QWidget>("KvUsb1ModeInputSelectionMenu")->hide();
  for (int i = 0; i < static_cast<int>(Notice::kCount); ++i) {
    setNotice(static_cast<Notice>(i), true);
    QApplication::processEvents();
    EXPECT_TRUE(line->isVisible()) << i;
    EXPECT_LE(line->sizeHint().width(), line->width()) << line->text().toStdString();
    EXPECT_LE(line->sizeHint().height(), line->height()) << line->text().toStdString();
    setNotice(static_cast<Notice>(i), false);
  }
}

TEST_P(UserSettings, TheTextsFollowTheSystemsFont) {
  for (const QWidget* control : shown()) {
    const double relative = control->font().pointSizeF() / QApplication::font().pointSizeF();
    EXPECT_GE(relative, 0.8) << control->objectName().toStdString();
    EXPECT_LE(relative, 2) << control->objectName().toStdString();
    EXPECT_EQ(control->font().family(), QApplication::font().family());
  }
  EXPECT_EQ(window().size(), QSize(640, 558) * settings().fontSize);
  const NSRect picture = NSView(find<QWidget>("KvDeviceBitmap")).frame();
  EXPECT_EQ(picture, (NSRect{{316, 220}, {296, 132}}));
}

TEST_P(UserSettings, TextsAndEdgesStandOut) {
  for (QWidget* control : shown()) {
    const std::string name = control->objectName().toStdString();
    const QRect place = placeOf(*control);
    const bool hasEdge = !qobject_cast<QLabel*>(control);
    const int frame = hasEdge ? control->height() / 5 : 0;
    QRect inside = place.adjusted(frame, frame, -frame, -frame);
    if (qobject_cast<QComboBox*>(control)) inside.setWidth(inside.width() / 2);
    const auto* label = qobject_cast<QLabel*>(control);
    if (label && label->text().isEmpty()) continue;
    const QImage text = painted(inside);
    EXPECT_GE(highestContrast(text, mostFrequentColour(text)), hasHighContrast() ? 7 : 4.5) << name;
    if (!hasEdge) continue;
    const QColor ground =
        painted(QRect(place.center().x(), place.top() - 2, 1, 1)).pixelColor(0, 0);
    const QImage edge = painted(QRect(place.center().x(), place.top(), 1, 2));
    EXPECT_GE(highestContrast(edge, ground), 3) << name;
  }
}

TEST_P(UserSettings, OnlyADesktopOfHighContrastReplacesTheDarkLook) {
  const QColor ground = painted(QRect(8, window().height() / 2, 1, 1)).pixelColor(0, 0);
  NSWindow(&window()).setBackgroundColor(
      NSColor::colorWithPatternImage(NSImage::imageNamed("StripTexture.png")));
  if (hasHighContrast()) {
    EXPECT_EQ(ground, QApplication::palette().color(QPalette::Window));
    for (const QWidget* control : shown()) {
      EXPECT_EQ(control->palette().color(control->foregroundRole()),
                QApplication::palette().color(QPalette::WindowText))
          << control->objectName().toStdString();
    }
    EXPECT_EQ(painted(QRect(8, window().height() / 2, 1, 1)).pixelColor(0, 0), ground);
  } else {
    EXPECT_LT(ground.lightness(), 80);
    EXPECT_GT(find<QLabel>("Heading")->palette().color(QPalette::WindowText).lightness(), 200);
  }
}

TEST_P(UserSettings, TheGroundsTileReturnsAfterHighContrast) {
  const QPalette usual = QApplication::style()->standardPalette();
  NSWindow(&window()).setBackgroundColor(
      NSColor::colorWithPatternImage(NSImage::imageNamed("StripTexture.png")));
  for (const QPalette& chosen : {highContrast(Qt::white, Qt::black), usual}) {
    QApplication::setPalette(chosen);
    letTheWindowFollow();
    EXPECT_EQ(window().palette().brush(QPalette::Window).texture().isNull(), chosen != usual);
  }
}

INSTANTIATE_TEST_SUITE_P(AtEachScale, UserSettings,
                         testing::Combine(testing::ValuesIn(kScales), testing::ValuesIn(kSettings)),
                         [](const auto& parameter) {
                           std::string name = std::string(std::get<1>(parameter.param).name) +
                                              "AtScale" + std::get<0>(parameter.param);
                           std::replace(name.begin(), name.end(), '.', '_');
                           return name;
                         });

}  // namespace
