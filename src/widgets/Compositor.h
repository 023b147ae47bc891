#pragma once

#include "widgets/ForeignWindow.h"
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

    bool isRunning() const { return m_state.isRunning; }

signals:
    void changed(); // it has started or ended

private:
    explicit Compositor(QObject *parent);

    bool nativeEventFilter(const QByteArray &type, void *message, long *result) override;

    tarn::visualized::foreign::Compositing m_state;
};
