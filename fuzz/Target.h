#pragma once
#include <QFile>
#include <QTemporaryDir>
#include <cstdio>
#include <cstdlib>

/// A fuzz target, one in each program. The preset "fuzz" builds libFuzzer programs (scripts/fuzz.sh); otherwise each is a
/// test that replays its committed corpus.
namespace tarn::fuzz {

extern const char *const corpusName; ///< of a directory in fuzz/corpus
void runTarget(const QByteArray &input);

/// Fails the input when a promise of the code under test does not hold.
inline void require(bool condition, const char *promise)
{
    if (condition)
        return;
    std::fprintf(stderr, "broken promise: %s\n", promise);
    std::abort();
}

/// An empty directory for the files of one input.
class Scratch
{
public:
    QString path(const char *name) const { return m_directory.filePath(QLatin1String(name)); }
    /// Writes a file and returns its path.
    QString file(const char *name, const QByteArray &content) const
    {
        QFile file(path(name));
        require(file.open(QIODevice::WriteOnly) && file.write(content) == content.size(),
                "the scratch directory is writable");
        return file.fileName();
    }

private:
    QTemporaryDir m_directory;
};

} // namespace tarn::fuzz

#define TARN_FUZZ_TARGET(name)                                                                                         \
    const char *const tarn::fuzz::corpusName = name;                                                                   \
    void tarn::fuzz::runTarget(const QByteArray &input)
