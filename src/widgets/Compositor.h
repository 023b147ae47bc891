#pragma once

#include <QAbstractNativeEventFilter>
#include <QObject>

/// Whether translucent windows are shown as such: true while a compositing manager runs on the X screen, and wherever
/// there is no X. GUI thread.
class Compositor final : public QObject, private QAbstractNativeEventFilter
{
    Q_OBJECT
public:
    /// Created on first use, destroyed with the application object.
    static Compositor *instance();

    bool isRunning() const { return m_running; }

signals:
    void changed(); // it has started or ended

private:
    explicit Compositor(QObject *parent);

    bool nativeEventFilter(const QByteArray &type, void *message, long *result) override;

    bool m_running = true;
    quint32 m_selection = 0; ///< the atom that a compositing manager owns
    int m_eventType = -1;    ///< in which the server reports owners of selections
};
