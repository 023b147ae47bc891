#pragma once

#include "frame/VisualizedEvents.h"
#include <QCoreApplication>
#include <QList>
#include <QObject>
#include <functional>

// Takes the visualized events of an object before the object sees them.
class EventRecorder final : public QObject
{
public:
    explicit EventRecorder(QObject *target)
        : m_target(target)
    {
        m_target->installEventFilter(this);
    }

    // Delivers what is posted. @return the types, in order
    QList<int> take(const std::function<void(CVisualizedEvents &)> &look = {})
    {
        m_look = look;
        m_types.clear();
        QCoreApplication::sendPostedEvents(m_target);
        return m_types;
    }

protected:
    bool eventFilter(QObject *, QEvent *e) override
    {
        auto *request = dynamic_cast<CVisualizedEvents *>(e);
        if (!request)
            return false;
        m_types.append(request->type());
        if (m_look)
            m_look(*request);
        return true;
    }

private:
    QObject *m_target;
    QList<int> m_types;
    std::function<void(CVisualizedEvents &)> m_look;
};
