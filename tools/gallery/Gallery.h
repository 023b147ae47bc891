#pragma once

#include <QString>
#include <QVector>
#include <functional>

class QWidget;

// The scenes of the gallery: windows and widgets with fixed data, one picture each. A folder's scenes stand in one file
// here, each written as
//
//     GALLERY_SCENE(folder, Name, "one line for the index") { return new Something(...); }
//
// A scene makes a widget without showing it; the program shows it, takes its picture and deletes it. Scenes are shown in
// the order of their names.
namespace gallery {

struct Scene
{
    QString name;    // "folder-Name", the picture's file name
    QString caption; // UTF-8
    QWidget *(*make)();
};

QVector<Scene> &scenes();

// Runs the event loop until the condition holds, for five seconds at most.
void waitFor(const std::function<bool()> &condition);

struct Registration
{
    Registration(const char *name, const char *caption, QWidget *(*make)())
    {
        scenes().append({QString::fromLatin1(name), QString::fromUtf8(caption), make});
    }
};

} // namespace gallery

#define GALLERY_SCENE(folder, Name, caption)                                                                           \
    static QWidget *scene_##folder##_##Name();                                                                         \
    static const gallery::Registration registration_##folder##_##Name(#folder "-" #Name, caption,                      \
                                                                      scene_##folder##_##Name);                        \
    static QWidget *scene_##folder##_##Name()
