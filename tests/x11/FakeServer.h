#pragma once

#include <QByteArray>
#include <atomic>
#include <thread>

// Stands between a client and the display's real X server and goes away in the middle of a call: every connection works
// until the client asks for a window's attributes, and is then cut instead of answered.
class FakeServer final
{
public:
    FakeServer();
    ~FakeServer();
    FakeServer(const FakeServer &) = delete;
    FakeServer &operator=(const FakeServer &) = delete;

    bool isValid() const { return m_listener >= 0; }
    QByteArray display() const; // for the environment's DISPLAY
    int cuts() const { return m_cuts; }

private:
    void run();
    void serve(int client);
    bool listenAs(int number);
    static int connectTo(const QByteArray &path);

    QByteArray m_real; // path of the real server's socket
    int m_number = 0;
    int m_listener = -1;
    std::atomic<int> m_cuts{0};
    std::thread m_thread;
};
