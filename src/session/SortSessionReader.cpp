#include "SortSessionReader.h"

#include "SessionStoreError.h"

#include <QByteArrayView>

namespace kestrava {

using namespace Qt::StringLiterals;

namespace {

// Walks JSON text without building values. Every method returns false when the text is not
// in the expected shape; the caller then leaves the document to the general path.
class Scanner {
public:
    explicit Scanner(QByteArrayView text) : p_(text.data()), begin_(text.data()), end_(text.data() + text.size()) {}

    qsizetype offset() const { return p_ - begin_; }

    void skipSpace()
    {
        while (p_ < end_ && (*p_ == ' ' || *p_ == '\t' || *p_ == '\n' || *p_ == '\r'))
            ++p_;
    }

    bool consume(char c)
    {
        skipSpace();
        if (p_ < end_ && *p_ == c) {
            ++p_;
            return true;
        }
        return false;
    }

    bool peek(char c)
    {
        skipSpace();
        return p_ < end_ && *p_ == c;
    }

    // A string without \u escapes or raw control characters, valid UTF-8.
    bool string(QString& out)
    {
        if (!consume('"'))
            return false;
        const char* start = p_;
        bool escaped = false;
        bool ascii = true;
        for (;; ++p_) {
            if (p_ >= end_)
                return false;
            const unsigned char c = static_cast<unsigned char>(*p_);
            if (c == '"')
                break;
            if (c < 0x20)
                return false;
            if (c >= 0x80)
                ascii = false;
            if (c == '\\') {
                escaped = true;
                if (++p_ >= end_ || !QByteArrayView("\"\\/bfnrt").contains(*p_))
                    return false;
            }
        }
        const QByteArrayView raw(start, p_ - start);
        ++p_;
        if (!ascii && !raw.isValidUtf8())
            return false;
        if (!escaped) {
            out = ascii ? QString::fromLatin1(raw) : QString::fromUtf8(raw);
            return true;
        }
        QByteArray unescaped;
        unescaped.reserve(raw.size());
        for (qsizetype i = 0; i < raw.size(); ++i) {
            char c = raw[i];
            if (c == '\\') {
                switch (raw[++i]) {
                case 'b': c = '\b'; break;
                case 'f': c = '\f'; break;
                case 'n': c = '\n'; break;
                case 'r': c = '\r'; break;
                case 't': c = '\t'; break;
                default: c = raw[i]; break;
                }
            }
            unescaped.append(c);
        }
        out = QString::fromUtf8(unescaped);
        return true;
    }

    // Plain integers only: no fraction, exponent or leading zero, at most 15 digits.
    bool integer(qint64& out)
    {
        skipSpace();
        const bool negative = p_ < end_ && *p_ == '-';
        if (negative)
            ++p_;
        const char* digits = p_;
        qint64 value = 0;
        while (p_ < end_ && *p_ >= '0' && *p_ <= '9')
            value = value * 10 + (*p_++ - '0');
        const qsizetype count = p_ - digits;
        if (count == 0 || count > 15 || (count > 1 && *digits == '0') || (negative && value == 0))
            return false;
        if (p_ < end_ && (*p_ == '.' || *p_ == 'e' || *p_ == 'E'))
            return false;
        out = negative ? -value : value;
        return true;
    }

    // Skips any value, tracking strings exactly and brackets by depth. Whether the skipped
    // text is valid JSON is Qt's parser's business later.
    bool skipValue()
    {
        skipSpace();
        int depth = 0;
        while (p_ < end_) {
            const char c = *p_;
            if (c == '"') {
                for (++p_; p_ < end_ && *p_ != '"'; ++p_)
                    if (*p_ == '\\')
                        ++p_;
                if (p_ >= end_)
                    return false;
                ++p_;
            } else if (c == '{' || c == '[') {
                ++depth;
                ++p_;
            } else if (c == '}' || c == ']') {
                if (depth == 0)
                    return true;
                --depth;
                ++p_;
            } else if (c == ',' && depth == 0) {
                return true;
            } else {
                ++p_;
            }
            if (depth == 0 && (c == '"' || c == '}' || c == ']'))
                return true;
        }
        return depth == 0;
    }

private:
    const char* p_;
    const char* begin_;
    const char* end_;
};

enum PhotoKey : unsigned {
    captureDate = 1, category = 2, decision = 4, fileSize = 8, formatGroup = 16, modificationDate = 32,
    relativePath = 64, sourceURL = 128
};
constexpr unsigned requiredPhotoKeys = captureDate | category | fileSize | formatGroup | modificationDate | relativePath | sourceURL;

std::optional<PhotoItem> scanPhoto(Scanner& s)
{
    if (!s.consume('{'))
        return std::nullopt;
    PhotoItem photo;
    unsigned seen = 0;
    QString key;
    QString text;
    if (!s.peek('}')) {
        do {
            if (!s.string(key) || !s.consume(':'))
                return std::nullopt;
            unsigned bit = 0;
            if (key == "fileSize"_L1) {
                bit = fileSize;
                if (!s.integer(photo.fileSize))
                    return std::nullopt;
            } else {
                if (!s.string(text))
                    return std::nullopt;
                if (key == "captureDate"_L1 || key == "modificationDate"_L1) {
                    bit = key == "captureDate"_L1 ? captureDate : modificationDate;
                    const auto date = json::decodeDate(text);
                    if (!date)
                        return std::nullopt;
                    (bit == captureDate ? photo.captureDate : photo.modificationDate) = *date;
                } else if (key == "category"_L1) {
                    bit = category;
                    photo.category = text;
                } else if (key == "decision"_L1) {
                    bit = decision;
                    photo.decision = enumFromRaw<PhotoDecision>(text);
                    if (!photo.decision)
                        return std::nullopt;
                } else if (key == "formatGroup"_L1) {
                    bit = formatGroup;
                    const auto group = enumFromRaw<PhotoFormatGroup>(text);
                    if (!group)
                        return std::nullopt;
                    photo.formatGroup = *group;
                } else if (key == "relativePath"_L1) {
                    bit = relativePath;
                    photo.relativePath = text;
                } else if (key == "sourceURL"_L1) {
                    bit = sourceURL;
                    const auto url = FileUrl::fromUrlString(text);
                    if (!url || !url->path().isValidUtf16())
                        return std::nullopt;
                    photo.sourceURL = *url;
                } else {
                    return std::nullopt;
                }
            }
            if (seen & bit)
                return std::nullopt;
            seen |= bit;
        } while (s.consume(','));
    }
    if (!s.consume('}') || (seen & requiredPhotoKeys) != requiredPhotoKeys)
        return std::nullopt;
    return photo;
}

std::optional<QList<PhotoItem>> scanPhotos(Scanner& s)
{
    if (!s.consume('['))
        return std::nullopt;
    QList<PhotoItem> photos;
    if (s.consume(']'))
        return photos;
    do {
        auto photo = scanPhoto(s);
        if (!photo)
            return std::nullopt;
        photos.append(std::move(*photo));
    } while (s.consume(','));
    if (!s.consume(']'))
        return std::nullopt;
    return photos;
}

} // namespace

namespace detail {

SortSession decodeSortSessionGeneral(const QByteArray& bytes)
{
    try {
        return sortSessionFromJson(json::parseObject(bytes));
    } catch (const DecodingError& error) {
        throw SessionStoreError::corruptSession(error.detail());
    }
}

std::optional<SortSession> decodeSortSessionFast(const QByteArray& bytes)
{
    Scanner s(bytes);
    if (!s.consume('{'))
        return std::nullopt;
    std::optional<QList<PhotoItem>> lists[2];
    // Byte ranges of the two arrays, replaced by "[]" before Qt parses the rest.
    qsizetype spans[2][2] = {{-1, -1}, {-1, -1}};
    QString key;
    if (!s.peek('}')) {
        do {
            if (!s.string(key) || !s.consume(':'))
                return std::nullopt;
            const int list = key == "photos"_L1 ? 0 : key == "passThroughPhotos"_L1 ? 1 : -1;
            if (list >= 0 && s.peek('[')) {
                if (lists[list])
                    return std::nullopt;
                spans[list][0] = s.offset();
                lists[list] = scanPhotos(s);
                if (!lists[list])
                    return std::nullopt;
                spans[list][1] = s.offset();
            } else if (!s.skipValue()) {
                return std::nullopt;
            }
        } while (s.consume(','));
    }
    if (!s.consume('}') || (!lists[0] && !lists[1]))
        return std::nullopt;

    QByteArray rest;
    rest.reserve(bytes.size());
    qsizetype copied = 0;
    const int first = spans[1][0] >= 0 && (spans[0][0] < 0 || spans[1][0] < spans[0][0]) ? 1 : 0;
    for (int list : {first, 1 - first}) {
        if (spans[list][0] < 0)
            continue;
        rest.append(bytes.constData() + copied, spans[list][0] - copied).append("[]");
        copied = spans[list][1];
    }
    rest.append(bytes.constData() + copied, bytes.size() - copied);

    SortSession session = decodeSortSessionGeneral(rest);
    if (lists[0])
        session.photos = std::move(*lists[0]);
    if (lists[1])
        session.passThroughPhotos = std::move(*lists[1]);
    return session;
}

} // namespace detail

SortSession decodeSortSession(const QByteArray& bytes)
{
    if (auto session = detail::decodeSortSessionFast(bytes))
        return std::move(*session);
    return detail::decodeSortSessionGeneral(bytes);
}

} // namespace kestrava
