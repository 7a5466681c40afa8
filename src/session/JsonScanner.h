#pragma once

// Internal to the session library: a minimal scanner for the fast decoding paths.

#include <QByteArray>
#include <QByteArrayView>
#include <QString>

namespace kestrava::detail {

// Walks JSON text without building values. Every method returns false when the text is not
// in the expected shape; the caller then leaves the document to the general path.
class JsonScanner {
public:
    explicit JsonScanner(QByteArrayView text) : p_(text.data()), begin_(text.data()), end_(text.data() + text.size()) {}

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

    bool atEnd()
    {
        skipSpace();
        return p_ >= end_;
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
        while (p_ < end_ && *p_ >= '0' && *p_ <= '9' && p_ - digits < 16)
            value = value * 10 + (*p_++ - '0');
        const qsizetype count = p_ - digits;
        if (count == 0 || count > 15 || (p_ < end_ && *p_ >= '0' && *p_ <= '9') || (count > 1 && *digits == '0') || (negative && value == 0))
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

    // An object whose members `member(key)` reads one by one, the value after the colon.
    template <class Member>
    bool members(Member&& member)
    {
        if (!consume('{'))
            return false;
        QString key;
        if (!peek('}')) {
            do {
                if (!string(key) || !consume(':') || !member(key))
                    return false;
            } while (consume(','));
        }
        return consume('}');
    }

    // As members(), for objects of known keys: `member(key)` returns the key's bit in `seen`,
    // 0 for a key it does not know. A repeated key fails, so the general path names it.
    template <class Member>
    bool knownMembers(unsigned& seen, Member&& member)
    {
        seen = 0;
        return members([&](const QString& key) {
            const unsigned bit = member(key);
            if (bit == 0 || (seen & bit))
                return false;
            seen |= bit;
            return true;
        });
    }

    // An array whose elements `element()` reads one by one.
    template <class Element>
    bool elements(Element&& element)
    {
        if (!consume('['))
            return false;
        if (consume(']'))
            return true;
        do {
            if (!element())
                return false;
        } while (consume(','));
        return consume(']');
    }

private:
    const char* p_;
    const char* begin_;
    const char* end_;
};

} // namespace kestrava::detail
