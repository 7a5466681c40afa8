#include "Sha256.h"

#include "DurableFile.h"

#include <openssl/evp.h>

#include <QFile>

#include <cerrno>
#include <fcntl.h>
#include <new>

namespace kestrava {

struct Sha256::State {
    EVP_MD_CTX* context = nullptr;

    State()
    {
        context = EVP_MD_CTX_new();
        if (!context)
            throw std::bad_alloc();
        reset();
    }
    ~State() { EVP_MD_CTX_free(context); }
    State(const State&) = delete;
    State& operator=(const State&) = delete;

    void reset()
    {
        if (EVP_DigestInit_ex(context, EVP_sha256(), nullptr) != 1)
            throw std::bad_alloc();
    }
};

Sha256::Sha256() : state_(std::make_unique<State>()) {}
Sha256::~Sha256() = default;
Sha256::Sha256(Sha256&&) noexcept = default;
Sha256& Sha256::operator=(Sha256&&) noexcept = default;

void Sha256::update(const void* data, size_t size)
{
    if (!state_)
        state_ = std::make_unique<State>();
    if (size > 0)
        EVP_DigestUpdate(state_->context, data, size);
}

QByteArray Sha256::finalize()
{
    if (!state_)
        state_ = std::make_unique<State>();
    QByteArray digest(EVP_MAX_MD_SIZE, Qt::Uninitialized);
    unsigned int length = 0;
    EVP_DigestFinal_ex(state_->context, reinterpret_cast<unsigned char*>(digest.data()), &length);
    digest.resize(int(length));
    state_->reset();
    return digest;
}

QByteArray Sha256::hash(QByteArrayView data)
{
    Sha256 hasher;
    hasher.update(data);
    return hasher.finalize();
}

QString Sha256::hex(const QByteArray& digest)
{
    return QString::fromLatin1(digest.toHex());
}

QByteArray sha256OfFile(const QString& path, const std::function<bool()>& isCanceled, FileOps& ops)
{
    const int fd = ops.open(QFile::encodeName(path), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        throw FileSystemError(FileSystemError::Operation::open, path, errno);
    UniqueFd file(fd, ops);
    // Read-ahead doubles for a sequential scan; a hint only, so its result does not matter.
    ::posix_fadvise(file.get(), 0, 0, POSIX_FADV_SEQUENTIAL);

    // 4 MiB: large enough that a camera file takes a handful of system calls and the disk
    // sees long sequential requests, small enough that cancellation answers quickly.
    constexpr size_t chunkSize = size_t(4) << 20;
    QByteArray buffer(qsizetype(chunkSize), Qt::Uninitialized);
    Sha256 hasher;
    for (;;) {
        if (isCanceled && isCanceled())
            return {};
        const ssize_t got = ops.read(file.get(), buffer.data(), chunkSize);
        if (got < 0) {
            if (errno == EINTR)
                continue;
            throw FileSystemError(FileSystemError::Operation::read, path, errno);
        }
        if (got == 0)
            break;
        hasher.update(buffer.constData(), size_t(got));
    }
    file.close(path);
    return hasher.finalize();
}

} // namespace kestrava
