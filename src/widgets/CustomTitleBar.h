#pragma once

#include <QWidget>

class ElideLabel;
class QHBoxLayout;
class QLabel;
class QPushButton;

/// Title bar of a frameless window: the logo first, the other parts in the order in which they are added. It moves nothing
/// itself: the owner follows CustomTitleBarPressed and CustomTitleBarmoved (see WindowDrag). The owner sets the ground by
/// a rule (look::titleBand). Lengths are design pixels at 96 DPI, scaled inside.
class CustomTitleBar : public QWidget
{
    Q_OBJECT
public:
    explicit CustomTitleBar(QWidget *parent);

    void AddCloseButton();
    void AddMinumButton();
    void AddMaxumButton();
    void addStretch(int stretch);

    /// A title that does not fit is elided, with the whole text as tool tip.
    void SetTitleText(const QString &text);
    /// The logo, 16 x 16.
    /// @param path a resource, or an image file, which a worker thread reads
    void SetTitleLogo(const QString &path);
    /// The larger forms for the sign-in window: text of 16 px, logo 24 x 24.
    void SetLoginTitleText(const QString &text);
    void SetLoginTitleLogo(const QString &path);
    /// Style sheet of the title text.
    void SetTitleStyleSheet(const QString &sheet);
    /// Margin at the left and right; 12 by default, and none right of a close button.
    void SetMarginH(const int &margin);
    /// Margin above and below; 0 by default.
    void SetMarginV(const int &margin);
    /// Space between the parts; 8 by default.
    void SetCtrlElpase(const int &space);

    bool isPressed() const { return m_pressed; }
    /// Position in the window of the press that is held.
    QPoint pressInWindow() const { return m_pressInWindow; }

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
    QPushButton *addButton(const QString &objectName, const QString &accessibleName, const QString &picture);

    QHBoxLayout *m_layout = nullptr;
    QLabel *m_logo = nullptr;
    ElideLabel *m_title = nullptr;
    QPoint m_pressInWindow;
    bool m_pressed = false;
};
