#pragma once
#include <QByteArray>
#include <QString>
#include <QTemporaryDir>
#include <functional>

/// Fuzz targets. The preset "fuzz" builds each as a libFuzzer program (scripts/fuzz.sh); otherwise each is a test that
/// replays its committed corpus.
namespace tarn::fuzz {

using Body = void (*)(const QByteArray &input);

struct Target
{
    const char *name; ///< the corpus is in fuzz/corpus/<name>
    Body body;
};
QList<Target> &targets();

/// Runs the part of a target that the product runs on its GUI thread, and remembers the longest run.
void onGuiThread(const std::function<void()> &part);
qint64 longestGuiMs();

/// Fails the input when a promise of the code under test does not hold.
void require(bool condition, const char *promise);

/// An empty directory for the files of one input.
class Scratch
{
public:
    QString path(const char *name) const { return m_directory.filePath(QLatin1String(name)); }
    /// Writes a file and returns its path.
    QString file(const char *name, const QByteArray &content) const;

private:
    QTemporaryDir m_directory;
};

struct Registration
{
    Registration(const char *name, Body body) { targets().append({name, body}); }
};

} // namespace tarn::fuzz

#define TARN_FUZZ_TARGET(name)                                                                                         \
    static void fuzzBody(const QByteArray &input);                                                                     \
    static const tarn::fuzz::Registration registration(name, fuzzBody);                                                \
    static void fuzzBody(const QByteArray &input)
