#pragma once
#include <QObject>

class QSocketNotifier;

/// SIGTERM and SIGINT as a Qt signal. One object per process; children do not inherit the handlers.
class UnixSignals final : public QObject
{
    Q_OBJECT
public:
    explicit UnixSignals(QObject *parent = nullptr);
    ~UnixSignals() override;

signals:
    void terminationRequested();

private:
    void onReadable();

    QSocketNotifier *m_notifier = nullptr;
};
