#pragma once

#include <QString>

#include <exception>
#include <optional>

// Base of the errors the user may be shown. Thrown by coroutines and caught where they are
// presented; `localizedDescription` is the text an alert shows.
class WispError : public std::exception
{
public:
    virtual QString errorDescription() const = 0;
    virtual std::optional<QString> recoverySuggestion() const { return std::nullopt; }

    QString localizedDescription() const { return errorDescription(); }
    const char* what() const noexcept override;

private:
    mutable QByteArray whatBuffer;
};
