#pragma once
#include <QPoint>
#include <QProcess>

// Real mouse and key events through the X server, as xdotool(1) makes them: xdotool({"mousemove", "10", "20", "click", "1"}).
// Returns when the server has taken them; tests wait for the reaction of the programs.
inline bool xdotool(const QStringList &commands)
{
    return QProcess::execute(QStringLiteral("xdotool"), commands) == 0;
}

// The pointer is moved, and then the other commands are done. In device pixels of the root window.
inline bool xdotoolAt(const QPoint &place, const QStringList &commands = {})
{
    return xdotool(QStringList{"mousemove", QString::number(place.x()), QString::number(place.y())} + commands);
}
