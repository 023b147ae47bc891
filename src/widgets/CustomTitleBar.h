#pragma once

#include "widgets/ElideLabel.h"
#include "widgets/Look.h"
#include <QBoxLayout>
#include <optional>

/// Title bar of a frameless window: the logo, the title, then the other parts in the order in which they are added. It moves
/// nothing itself: the owner follows CustomTitleBarPressed and CustomTitleBarmoved (see WindowDrag), and sets the ground by
/// a rule (look::titleBand). Lengths are design pixels at 96 DPI, scaled inside.
class CustomTitleBar : public QWidget
{
    Q_OBJECT
public:
    explicit CustomTitleBar(QWidget *parent);
    /// A new one on top of a window's column, with the window's title and a close button. Called after the other bands
    /// exist: Tab follows the order of creation, and the close button comes last.
    static CustomTitleBar *addOnTop(QVBoxLayout *column, int height);

    void AddCloseButton();
    void AddMinumButton();
    void AddMaxumButton();
    void addStretch(int stretch) { m_layout->addStretch(stretch); }

    /// A title that does not fit is elided, with the whole text as tool tip.
    void SetTitleText(const QString &text) { setTitle(text, tarn::visualized::look::TextPx, QFont::Normal); }
    /// The logo, 16 x 16.
    /// @param path a resource, or an image file, which a worker thread reads
    void SetTitleLogo(const QString &path) { setLogo(path, {16, 16}); }
    /// The larger forms for the sign-in window: text of 16 px, logo 24 x 24.
    void SetLoginTitleText(const QString &text) { setTitle(text, 16, QFont::Bold); }
    void SetLoginTitleLogo(const QString &path) { setLogo(path, {24, 24}); }
    void SetTitleStyleSheet(const QString &sheet) { m_title->setStyleSheet(sheet); }
    /// Margin at the left and right; 12 by default, and none right of a close button.
    void SetMarginH(const int &margin);
    /// Margin above and below; 0 by default.
    void SetMarginV(const int &margin);
    /// Space between the parts; 8 by default.
    void SetCtrlElpase(const int &space) { m_layout->setSpacing(tarn::visualized::look::scaled(space, this)); }

    /// Position in the window of the press that is held; nothing when none is.
    const std::optional<QPoint> &pressInWindow() const { return m_pressInWindow; }

signals:
    void CustomTitleBarClose();
    void CustomTitleBarMinum();
    void CustomTitleBarMaxum();
    void CustomTitleBarPressed(int nPosX, int nPosY); // global position of the cursor
    void CustomTitleBarmoved(int nPosX, int nPosY);   // while the left button is held

private slots:
    void OnCloseBtnClicked() { emit CustomTitleBarClose(); }
    void OnMinumBtnClicked() { emit CustomTitleBarMinum(); }
    void OnMaxumBtnClicked() { emit CustomTitleBarMaxum(); }

protected:
    void mousePressEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;

private:
    void setTitle(const QString &text, int fontPx, int weight);
    void setLogo(const QString &path, const QSize &size);
    void addButton(const char *objectName, const QString &accessibleName, const QString &picture,
                   void (CustomTitleBar::*slot)());

    QHBoxLayout *const m_layout;
    QLabel *const m_logo;
    ElideLabel *const m_title;
    std::optional<QPoint> m_pressInWindow;
};
