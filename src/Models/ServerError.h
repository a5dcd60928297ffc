#pragma once

#include "Models/WispError.h"

#include <QStringList>

// The one way a server start fails, with a human-readable reason and the last lines the server
// wrote before it failed (none when it never ran).
class ServerError : public WispError
{
public:
    static ServerError failedToStart(const QString& reason, const QStringList& lastLines = {})
    {
        return ServerError(reason, lastLines);
    }

    QString reason() const { return payload; }
    // Standard output and error interleaved as they arrived, oldest first.
    QStringList lastLines() const { return output; }
    QString errorDescription() const override
    {
        return QStringLiteral("Failed to start server: ") + payload;
    }

private:
    ServerError(QString reason, QStringList lastLines)
        : payload(std::move(reason)), output(std::move(lastLines))
    {}

    QString payload;
    QStringList output;
};
