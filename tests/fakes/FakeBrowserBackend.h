#pragma once

#include "Models/BrowserError.h"
#include "Platform/BrowserBackend.h"

#include <QHash>
#include <QList>

#include <optional>

// Records every backend call; tests decide what findTab answers and which error a call throws.
class FakeBrowserBackend : public BrowserBackend
{
public:
    struct Call
    {
        QString operation;
        Browser browser;
        QString argument;

        bool operator==(const Call& other) const
        {
            return operation == other.operation && browser == other.browser &&
                   argument == other.argument;
        }
    };

    QList<Call> calls;
    // findTab's answer per browser; absent means false.
    QHash<int, bool> tabFound;
    // Thrown by every call when set.
    std::optional<BrowserError> failure;

    QCoro::Task<> activate(Browser browser) override
    {
        record(QStringLiteral("activate"), browser, QString());
        co_return;
    }

    QCoro::Task<bool> findTab(Browser browser, QString address) override
    {
        record(QStringLiteral("findTab"), browser, address);
        co_return tabFound.value(browser, false);
    }

    QCoro::Task<> openPrivateWindow(Browser browser, QString url) override
    {
        record(QStringLiteral("openPrivateWindow"), browser, url);
        co_return;
    }

    QCoro::Task<> reload(Browser browser) override
    {
        record(QStringLiteral("reload"), browser, QString());
        co_return;
    }

private:
    void record(const QString& operation, Browser browser, const QString& argument)
    {
        calls.append({operation, browser, argument});
        if (failure) {
            throw *failure;
        }
    }
};

inline void PrintTo(const FakeBrowserBackend::Call& call, std::ostream* os)
{
    *os << call.operation.toStdString() << '(' << call.browser.rawValue().toStdString() << ", \""
        << call.argument.toStdString() << "\")";
}
