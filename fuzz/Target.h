#pragma once
#include <QByteArray>
#include <QString>
#include <QTemporaryDir>
#include <functional>

/// A fuzz target, one in each program. The preset "fuzz" builds libFuzzer programs (scripts/fuzz.sh); otherwise each is a
/// test that replays its committed corpus.
namespace tarn::fuzz {

extern const char *const corpusName; ///< of a directory in fuzz/corpus
void runTarget(const QByteArray &input);

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

} // namespace tarn::fuzz

#define TARN_FUZZ_TARGET(name)                                                                                         \
    const char *const tarn::fuzz::corpusName = name;                                                                   \
    void tarn::fuzz::runTarget(const QByteArray &input)
