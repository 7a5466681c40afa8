#include "Text.h"

#include <QCollator>
#include <QLocale>
#include <QTextBoundaryFinder>
#include <cmath>

namespace kestrava::text {

namespace {

const QCollator& collator()
{
    // The order must not depend on the machine's LANG (CI runs in C); the interface is German.
    thread_local const QCollator instance = [] {
        QCollator c(QLocale(QLocale::German, QLocale::Germany));
        c.setNumericMode(true);
        c.setCaseSensitivity(Qt::CaseInsensitive);
        c.setIgnorePunctuation(false);
        return c;
    }();
    return instance;
}

} // namespace

int compareNatural(const QString& a, const QString& b)
{
    return collator().compare(a, b);
}

bool lessNatural(const QString& a, const QString& b)
{
    return compareNatural(a, b) < 0;
}

QCollatorSortKey naturalSortKey(const QString& text)
{
    return collator().sortKey(text);
}

QString nfc(const QString& text)
{
    return text.normalized(QString::NormalizationForm_C);
}

QString truncateGraphemes(const QString& text, qsizetype maxCharacters)
{
    if (maxCharacters <= 0)
        return {};
    // A grapheme holds at least one code unit, so a short string cannot exceed the limit.
    if (text.size() <= maxCharacters)
        return text;
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    qsizetype count = 0;
    qsizetype position = 0;
    while (count < maxCharacters) {
        const qsizetype next = finder.toNextBoundary();
        if (next < 0)
            return text;
        position = next;
        ++count;
    }
    return text.left(position);
}

QString formatByteCount(qint64 bytes)
{
    static const QLocale german(QLocale::German, QLocale::Germany);
    if (bytes < 1000 && bytes > -1000)
        return QString::number(bytes) + QStringLiteral(" Byte");
    struct Unit {
        const char* name;
        int decimals;
    };
    static constexpr Unit units[] = {{"KB", 0}, {"MB", 1}, {"GB", 2}, {"TB", 2}, {"PB", 2}, {"EB", 2}};
    double value = double(bytes);
    int index = -1;
    do {
        value /= 1000.0;
        ++index;
    } while (std::fabs(value) >= 999.5 && index + 1 < int(std::size(units)));
    const Unit unit = units[index];
    QString number = german.toString(value, 'f', unit.decimals);
    if (unit.decimals > 0) {
        // "2 GB" rather than "2,00 GB", as a file manager writes it.
        while (number.endsWith(QLatin1Char('0')))
            number.chop(1);
        if (number.endsWith(german.decimalPoint()))
            number.chop(german.decimalPoint().size());
    }
    number.remove(german.groupSeparator());
    return number + QLatin1Char(' ') + QLatin1String(unit.name);
}

} // namespace kestrava::text
