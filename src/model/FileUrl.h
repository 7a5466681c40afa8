#pragma once

#include <QHashFunctions>
#include <QString>
#include <optional>

namespace kestrava {

// An absolute local file location. Held as its file-system path (decoded, no trailing slash)
// because that is what every comparison, group id and system call needs; the `file:` URL
// text exists only at the JSON boundary. One rendering everywhere keeps group ids stable.
class FileUrl {
public:
    FileUrl() = default;

    // `path` must be absolute; "." and ".." segments and a trailing "/" are removed. A path
    // that is not valid UTF-16 (a lone surrogate) gives an empty FileUrl, as an empty one does.
    static FileUrl fromLocalPath(const QString& path);
    // Accepts "file:" URLs with an absolute, valid path only; anything else is nullopt.
    static std::optional<FileUrl> fromUrlString(const QString& text);

    const QString& path() const { return path_; }
    QString toUrlString() const;
    bool isEmpty() const { return path_.isEmpty(); }

    QString fileName() const;
    QString suffix() const;             // last extension without the dot, case kept
    FileUrl parent() const;             // the root stays the root
    FileUrl appending(const QString& relativePath) const;

    friend bool operator==(const FileUrl&, const FileUrl&) = default;
    friend auto operator<=>(const FileUrl& a, const FileUrl& b) { return a.path_.compare(b.path_) <=> 0; }

private:
    explicit FileUrl(QString path) : path_(std::move(path)) {}
    QString path_;
};

inline size_t qHash(const FileUrl& url, size_t seed = 0) noexcept { return qHash(url.path(), seed); }

} // namespace kestrava

template <>
struct std::hash<kestrava::FileUrl> {
    size_t operator()(const kestrava::FileUrl& url) const noexcept { return qHash(url.path()); }
};
