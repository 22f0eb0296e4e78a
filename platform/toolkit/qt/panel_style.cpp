// SPDX-License-Identifier: MIT
#include "platform/toolkit/qt/panel_style.h"

#include <QAbstractItemView>
#include <QApplication>
#include <QColor>
#include <QFont>
#include <QFontInfo>
#include <QPainter>
#include <QPalette>
#include <QPen>
#include <QPointF>
#include <QString>
#include <QStyleOption>
#include <QStyleOptionComplex>
#include <QVariant>
#include <QWidget>
#include <algorithm>
#include <cmath>
#include <string_view>

#include "platform/toolkit/qt/desktop_settings.h"

namespace qt_toolkit {

namespace {

constexpr QRgb kText = 0xfff2f5f7;
constexpr QRgb kQuietText = 0xffc2cad1;
constexpr QRgb kTitle = 0xffa7b1bb;
constexpr QRgb kBrand = 0xff35c4b5;
constexpr QRgb kHeading = 0xff52d6c8;
constexpr QRgb kWarning = 0xfff5b83d;

struct TextLook {
  std::string_view part;
  double size;     // relative to the system's font
  double spacing;  // between letters, in points
  QFont::Weight weight;
  QRgb colour;
};

constexpr TextLook kTexts[] = {
    {"brand", 1.9, 6, QFont::Bold, kText},          {"subtitle", 1, 0, QFont::Normal, kQuietText},
    {"heading", 1, 0, QFont::Bold, kHeading},       {"title", 1, 0, QFont::Normal, kTitle},
    {"device", 1.33, 0, QFont::Bold, kText},        {"state", 1.5, 0, QFont::Bold, kText},
    {"waiting", 1.5, 0, QFont::Normal, kQuietText}, {"hint", 1, 0, QFont::Normal, kQuietText},
    {"identity", 1, 0, QFont::Normal, kQuietText},  {"notice", 1, 0, QFont::Normal, kWarning},
    {"button", 1, 0, QFont::Normal, kText},         {"round button", 1, 0, QFont::Bold, kText},
};

enum class Edge { kNone, kTop, kBottom, kAround, kDashed };

struct SurfaceLook {
  std::string_view part;
  QRgb fill;
  Edge edge;
  double edgeWidth;  // in points
  QRgb edgeColour;
};

constexpr QRgb kNoFill = 0;
constexpr double kSurfaceRadius = 8;  // of those with an edge around them
constexpr SurfaceLook kSurfaces[] = {
    {"header", 0xff181c21, Edge::kBottom, 2, kBrand},
    {"footer", 0xcd101317, Edge::kTop, 1, 0xff3f4750},
    {"display", 0xff14171b, Edge::kAround, 1, 0xff343b43},
    {"card", 0xa5101317, Edge::kAround, 1, 0xff343b43},
    {"divider", 0xff2b3138, Edge::kNone, 0, 0},
    {"hint", 0x5a101317, Edge::kDashed, 1, 0xff717c87},
    {"ring", kNoFill, Edge::kAround, 2, kBrand},
};

constexpr double kMenuTextLeft = 9;  // points
constexpr double kMenuArrowWidth = 22;
constexpr double kMenuItemHeight = 26;

QByteArray partOf(const QWidget& widget) { return widget.property("part").toByteArray(); }

template <typename Look, std::size_t N>
const Look* find(const Look (&looks)[N], const QByteArray& part) {
  const auto* look = std::ranges::find(looks, std::string_view(part), &Look::part);
  return look == std::end(looks) ? nullptr : look;
}

// The usual colour, or on a desktop of high contrast the one that the desktop has for the role.
QColor colour(const QStyleOption& option, QRgb usual, QPalette::ColorRole role) {
  return isHighContrast(QApplication::palette()) ? option.palette.color(role)
                                                 : QColor::fromRgba(usual);
}

}  // namespace

void setWindowColours(QWidget& window) {
  QPalette palette = QApplication::palette();
  if (!isHighContrast(palette)) {
    palette.setColor(QPalette::Window, 0xff2e3239);
    palette.setColor(QPalette::Base, 0xff272c33);
    palette.setColor(QPalette::Button, 0xff3a4149);
    palette.setColor(QPalette::Highlight, 0xff1c7f75);
    for (const auto role :
         {QPalette::WindowText, QPalette::Text, QPalette::ButtonText, QPalette::HighlightedText}) {
      palette.setColor(role, kText);
      palette.setColor(QPalette::Disabled, role, 0xff7b858f);
    }
  }
  window.setPalette(palette);
}

PanelStyle::PanelStyle(double pixelsPerPoint)
    : QProxyStyle(QStringLiteral("fusion")), pixelsPerPoint_(pixelsPerPoint) {}

int PanelStyle::pixels(double points) const {
  return static_cast<int>(std::lround(points * pixelsPerPoint_));
}

void PanelStyle::polish(QWidget* widget) {
  QProxyStyle::polish(widget);
  const QByteArray part = partOf(*widget);
  if (find(kSurfaces, part)) widget->setAttribute(Qt::WA_StyledBackground);
  const TextLook* look = find(kTexts, part);
  if (!look) return;
  QFont font = QApplication::font();
  font.setPointSizeF(QFontInfo(font).pointSizeF() * look->size);
  font.setWeight(look->weight);
  font.setLetterSpacing(QFont::AbsoluteSpacing, pixels(look->spacing));
  widget->setFont(font);
  QPalette palette;  // without colours of its own the widget has the window's
  if (!isHighContrast(QApplication::palette()))
    palette.setColor(QPalette::WindowText,
                     widget->property("warning").toBool() ? kWarning : look->colour);
  widget->setPalette(palette);
}

void PanelStyle::drawPrimitive(PrimitiveElement element, const QStyleOption* option,
                               QPainter* painter, const QWidget* widget) const {
  switch (element) {
    case PE_Widget:
      if (widget) paintSurface(*option, *painter, *widget);
      break;
    case PE_PanelButtonCommand:
      paintButton(*option, *painter);
      break;
    case PE_Frame:
      if (widget && widget->inherits("QComboBoxPrivateContainer")) {  // a menu's open list
        painter->setPen(colour(*option, 0xff4f5963, QPalette::WindowText));
        painter->drawRect(option->rect.adjusted(0, 0, -1, -1));
      } else {
        QProxyStyle::drawPrimitive(element, option, painter, widget);
      }
      break;
    case PE_FrameFocusRect:
      break;  // the controls show the focus by their edge
    default:
      QProxyStyle::drawPrimitive(element, option, painter, widget);
  }
}

void PanelStyle::drawComplexControl(ComplexControl control, const QStyleOptionComplex* option,
                                    QPainter* painter, const QWidget* widget) const {
  if (control == CC_ComboBox) {
    paintMenu(*option, *painter);
  } else if (control == CC_GroupBox && widget) {
    paintSurface(*option, *painter, *widget);
  } else {
    QProxyStyle::drawComplexControl(control, option, painter, widget);
  }
}

QRect PanelStyle::subControlRect(ComplexControl control, const QStyleOptionComplex* option,
                                 SubControl part, const QWidget* widget) const {
  if (control == CC_ComboBox && (part == SC_ComboBoxEditField || part == SC_ComboBoxArrow)) {
    const QRect arrow =
        option->rect.adjusted(option->rect.width() - pixels(kMenuArrowWidth), 0, 0, 0);
    const QRect text = option->rect.adjusted(pixels(kMenuTextLeft), 0, -arrow.width(), 0);
    return visualRect(option->direction, option->rect, part == SC_ComboBoxArrow ? arrow : text);
  }
  return QProxyStyle::subControlRect(control, option, part, widget);
}

QSize PanelStyle::sizeFromContents(ContentsType type, const QStyleOption* option,
                                   const QSize& contents, const QWidget* widget) const {
  const QSize edges(2, 2);
  switch (type) {
    case CT_ComboBox:
      return contents + edges + QSize(pixels(kMenuTextLeft + kMenuArrowWidth), 0);
    case CT_PushButton:
      return contents + edges;
    case CT_ItemViewItem: {
      const QSize usual = QProxyStyle::sizeFromContents(type, option, contents, widget);
      return usual.expandedTo(QSize(0, pixels(kMenuItemHeight)));
    }
    default:
      return QProxyStyle::sizeFromContents(type, option, contents, widget);
  }
}

int PanelStyle::pixelMetric(PixelMetric metric, const QStyleOption* option,
                            const QWidget* widget) const {
  return metric == PM_ScrollBarExtent ? pixels(10)
                                      : QProxyStyle::pixelMetric(metric, option, widget);
}

int PanelStyle::styleHint(StyleHint hint, const QStyleOption* option, const QWidget* widget,
                          QStyleHintReturn* result) const {
  // A menu's list opens below it.
  return hint == SH_ComboBox_Popup ? 0 : QProxyStyle::styleHint(hint, option, widget, result);
}

void PanelStyle::paintControl(const QStyleOption& option, QPainter& painter, const QColor& fill,
                              double radius) const {
  const bool focused = option.state.testFlag(State_HasFocus);
  const bool enabled = option.state.testFlag(State_Enabled);
  const QColor edge = colour(option, focused ? kBrand : 0xff75808c, QPalette::WindowText);
  const bool highContrast = isHighContrast(QApplication::palette());
  const double width = focused ? pixels(highContrast ? 3 : 2) : pixels(1);
  painter.save();
  painter.setRenderHint(QPainter::Antialiasing);
  painter.setPen(QPen(edge, width, enabled || !highContrast ? Qt::SolidLine : Qt::DashLine));
  painter.setBrush(fill);
  const double half = width / 2;
  painter.drawRoundedRect(QRectF(option.rect).adjusted(half, half, -half, -half), radius, radius);
  painter.restore();
}

void PanelStyle::paintMenu(const QStyleOption& option, QPainter& painter) const {
  const bool enabled = option.state.testFlag(State_Enabled);
  const bool hovered = enabled && option.state.testFlag(State_MouseOver);
  const QRgb fill = !enabled ? 0xff2b3037 : hovered ? 0xff4d5661 : 0xff3a4149;
  paintControl(option, painter, colour(option, fill, QPalette::Button), pixels(5));
  painter.save();
  painter.setRenderHint(QPainter::Antialiasing);
  painter.setPen(QPen(option.palette.color(QPalette::ButtonText), 1.5, Qt::SolidLine, Qt::RoundCap,
                      Qt::RoundJoin));
  // Drawn for points, with the origin in the middle of the arrow's place.
  const double right = pixels(kMenuArrowWidth) / 2.0;
  painter.translate(option.direction == Qt::RightToLeft ? option.rect.left() + right
                                                        : option.rect.right() + 1 - right,
                    option.rect.top() + option.rect.height() / 2.0);
  painter.scale(pixelsPerPoint_, pixelsPerPoint_);
  const QPointF up[] = {{-3.2, -1.8}, {0, -5}, {3.2, -1.8}};
  const QPointF down[] = {{-3.2, 1.8}, {0, 5}, {3.2, 1.8}};
  painter.drawPolyline(up, 3);
  painter.drawPolyline(down, 3);
  painter.restore();
}

void PanelStyle::paintButton(const QStyleOption& option, QPainter& painter) const {
  const bool pressed = option.state.testFlag(State_Sunken);
  const bool hovered = option.state.testFlag(State_MouseOver);
  const QRgb fill = pressed ? 0xff2b3037 : hovered ? 0xff55606b : 0xff3f474f;
  // A square button is drawn as a disc, but for a pixel at the top, so that its edge is sharp
  // there.
  const bool square = option.rect.width() == option.rect.height();
  paintControl(option, painter, colour(option, fill, QPalette::Button),
               square ? option.rect.height() / 2.0 - pixels(1.5) : pixels(6));
}

void PanelStyle::paintSurface(const QStyleOption& option, QPainter& painter,
                              const QWidget& widget) const {
  const SurfaceLook* look = find(kSurfaces, partOf(widget));
  if (!look) return;
  const bool filled = look->edge == Edge::kNone;
  const QColor fill =
      look->fill == kNoFill
          ? QColor(Qt::transparent)
          : colour(option, look->fill, filled ? QPalette::WindowText : QPalette::Window);
  const QColor edge = colour(option, look->edgeColour, QPalette::WindowText);
  const int width = pixels(look->edgeWidth);
  const QRect rest = option.rect;
  painter.save();
  switch (look->edge) {
    case Edge::kTop:
      painter.fillRect(rest.left(), rest.top(), rest.width(), width, edge);
      painter.fillRect(rest.adjusted(0, width, 0, 0), fill);
      break;
    case Edge::kBottom:
      painter.fillRect(rest.left(), rest.bottom() + 1 - width, rest.width(), width, edge);
      painter.fillRect(rest.adjusted(0, 0, 0, -width), fill);
      break;
    case Edge::kNone:
      painter.fillRect(rest, fill);
      break;
    case Edge::kAround:
    case Edge::kDashed: {
      painter.setRenderHint(QPainter::Antialiasing);
      painter.setPen(QPen(edge, width, look->edge == Edge::kDashed ? Qt::DashLine : Qt::SolidLine));
      painter.setBrush(fill);
      const double half = width / 2.0;
      const double radius = pixels(kSurfaceRadius);
      painter.drawRoundedRect(QRectF(rest).adjusted(half, half, -half, -half), radius, radius);
      break;
    }
  }
  painter.restore();
}

}  // namespace qt_toolkit
