// SPDX-License-Identifier: MIT
// The look of the panel's window: its colours, its fonts, and how its parts are painted. Main
// thread.
#pragma once

#include <QProxyStyle>

namespace qt_toolkit {

// A widget's dynamic property "part" says what it is in the window: "header", "title", "value" and
// so on; the tables in panel_style.cpp say how each looks. Everything else is painted as Qt's style
// Fusion does it. On a desktop of high contrast the colours are the desktop's.
//
// A style sheet would do the same, with more memory and a slower start (docs/performance.md).
class PanelStyle final : public QProxyStyle {
 public:
  // All lengths are in points of this many pixels.
  explicit PanelStyle(double pixelsPerPoint);

  // Gives a widget the font and the text colour of its part, and of a warning while its dynamic
  // property "warning" is true. Qt calls it before a widget is first shown; call it again when
  // either property changed.
  using QProxyStyle::polish;
  void polish(QWidget* widget) override;

  void drawPrimitive(PrimitiveElement element, const QStyleOption* option, QPainter* painter,
                     const QWidget* widget) const override;
  void drawComplexControl(ComplexControl control, const QStyleOptionComplex* option,
                          QPainter* painter, const QWidget* widget) const override;
  QRect subControlRect(ComplexControl control, const QStyleOptionComplex* option, SubControl part,
                       const QWidget* widget) const override;
  QSize sizeFromContents(ContentsType type, const QStyleOption* option, const QSize& contents,
                         const QWidget* widget) const override;
  int pixelMetric(PixelMetric metric, const QStyleOption* option,
                  const QWidget* widget) const override;
  int styleHint(StyleHint hint, const QStyleOption* option, const QWidget* widget,
                QStyleHintReturn* result) const override;

 private:
  int pixels(double points) const;
  void paintMenu(const QStyleOption& option, QPainter& painter) const;
  void paintButton(const QStyleOption& option, QPainter& painter) const;
  // Rounded, with an edge of one pixel, or of a wider one while the control has the focus.
  void paintControl(const QStyleOption& option, QPainter& painter, const QColor& fill,
                    double radius) const;
  void paintSurface(const QStyleOption& option, QPainter& painter, const QWidget& widget) const;

  double pixelsPerPoint_;
};

// Gives the window the colours of the panel, or of the desktop if that has high contrast.
void setWindowColours(QWidget& window);

}  // namespace qt_toolkit
