#pragma once
#include <QElapsedTimer>
#include <QObject>
#include <QPointer>

class QWidget;

/// Keeps keys that are being typed for another program away from a window that came unasked and took the keyboard. As
/// long as the neutral focus is on the window itself, keys are dropped until there has been a pause or the user has
/// clicked; so neither a Tab nor an Escape of somebody who goes on typing does anything. GUI thread; a child of the window.
class TypingGuard final : public QObject
{
    Q_OBJECT
public:
    explicit TypingGuard(QWidget *window);

    bool takesKeys() const; ///< a key pressed now reaches the window

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    QWidget *const m_window;
    QElapsedTimer m_sinceKey; ///< since the last dropped key, or since the window came up
    bool m_lifted = false;
};
