#pragma once

// SHA-256 through OpenSSL's libcrypto (hardware accelerated).

#include "FileOps.h"

#include <QByteArray>
#include <QString>
#include <functional>
#include <memory>

namespace kestrava {

class Sha256 {
public:
    Sha256();
    ~Sha256();
    Sha256(Sha256&&) noexcept;
    Sha256& operator=(Sha256&&) noexcept;

    void update(const void* data, size_t size);
    void update(QByteArrayView data) { update(data.data(), size_t(data.size())); }
    // The 32-byte digest; the object is reset afterwards.
    QByteArray finalize();

    static QByteArray hash(QByteArrayView data);
    static QString hex(const QByteArray& digest); // lower case

private:
    struct State;
    std::unique_ptr<State> state_;
};

// Digest of a whole file, read in 4 MiB chunks. `isCanceled` is asked between chunks; when it
// answers true, an empty QByteArray is returned. Throws FileSystemError.
QByteArray sha256OfFile(const QString& path, const std::function<bool()>& isCanceled = {},
                        FileOps& ops = FileOps::system());

} // namespace kestrava
