#pragma once

class QWidget;

namespace Utils {

/// Logical DPI of a widget's screen and the scaling of design sizes by it. 96 DPI is the design base of every size in
/// the style sheets and layouts. GUI thread.
class DpiToolkit final
{
public:
    DpiToolkit() = delete;

    /// Logical dots per inch of the screen on which w's top-level window is (of the primary screen when w is null or
    /// its window has not been created yet), as an integer; 96 without any screen or under Qt::AA_Use96Dpi.
    static int getDPI(const QWidget *w);
    /// A design size in pixels (at 96 DPI) in the pixels of w's screen, rounded to the nearest, halves upward.
    static int dpiScaled(int value, const QWidget *w);
};

} // namespace Utils
