#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QUrl>

#include <optional>
#include <ostream>

// Readable Google Test failure messages for the Qt types the tests compare.
inline void PrintTo(const QString& value, std::ostream* os)
{
    *os << '"' << value.toStdString() << '"';
}

inline void PrintTo(const QByteArray& value, std::ostream* os)
{
    *os << "QByteArray(\"" << value.toStdString() << "\")";
}

inline void PrintTo(const QStringList& value, std::ostream* os)
{
    *os << '[';
    for (qsizetype i = 0; i < value.size(); ++i) {
        *os << (i ? ",\n  " : "\n  ") << '"' << value.at(i).toStdString() << '"';
    }
    *os << (value.isEmpty() ? "]" : "\n]");
}

inline void PrintTo(const QUrl& value, std::ostream* os)
{
    *os << "QUrl(\"" << value.toString().toStdString() << "\")";
}
