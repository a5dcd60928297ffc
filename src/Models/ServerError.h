#pragma once

#include "Models/WispError.h"

// The one way a server start fails, with a human-readable reason.
class ServerError : public WispError
{
public:
    static ServerError failedToStart(const QString& reason) { return ServerError(reason); }

    QString reason() const { return payload; }
    QString errorDescription() const override
    {
        return QStringLiteral("Failed to start server: ") + payload;
    }

private:
    explicit ServerError(QString reason) : payload(std::move(reason)) {}

    QString payload;
};
