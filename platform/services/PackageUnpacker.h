#pragma once
#include <QString>
#include <atomic>
#include <filesystem>
#include <map>

struct archive;
struct archive_entry;

namespace tarn::services {

/// Unpacks the packages of one task (tar, plain or compressed) into one empty directory. Links are created after all
/// files of all packages, so that no path of a package ever leads through a link. Refused are paths and links that leave
/// the directory, anything but files, directories and links, the name of the work area and an install description below
/// the top; a description at the top is skipped. Files get the usual permissions, without set-id bits. One thread.
/// The functions throw Failure.
class PackageUnpacker
{
public:
    /// @param stopping set by another thread to end the work soon
    PackageUnpacker(const QString &directory, const std::atomic<bool> &stopping);

    /// The bytes that are unpacked are those that are hashed: another checksum or size is an error, and the
    /// directory must be removed then.
    void unpack(const QString &package, qint64 size, const QString &sha256);
    void makeLinks() const; ///< after the last package

private:
    using Path = std::filesystem::path;
    struct Link
    {
        std::string target;
        bool isHard = false;
    };

    void readMembers(archive *reader);
    void addMember(archive *reader, archive_entry *entry);
    void addLink(const Path &path, const Link &link);
    void addFile(archive *reader, const Path &path, unsigned mode);
    void writeContent(archive *reader, int descriptor) const;
    void makeDirectories(const Path &path) const;
    void removeOld(const Path &path) const;
    void makeLink(const Path &path, const Link &link) const;

    const QString m_directory;
    const Path m_root;
    const std::atomic<bool> &m_stopping;
    std::map<Path, Link> m_links; ///< by path below the directory
    qint64 m_members = 0;
};

} // namespace tarn::services
