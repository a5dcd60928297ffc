#pragma once

#include "Platform/BrowserLocator.h"

#include <QCoreApplication>
#include <QSet>
#include <QThread>

#include <atomic>

// Scripted browser lookup: tests say which browsers are installed and what the system default
// is, and read back how often (and on which thread) the default was asked for.
class FakeBrowserLocator : public BrowserLocator
{
public:
    QSet<int> installed;
    std::optional<QString> defaultIdentifier;

    mutable std::atomic<int> defaultQueries{0};
    mutable std::atomic<int> mainThreadQueries{0};

    bool isInstalled(Browser browser) const override { return installed.contains(browser); }

    std::optional<QString> defaultBrowserIdentifier() const override
    {
        ++defaultQueries;
        if (QThread::currentThread() == QCoreApplication::instance()->thread()) {
            ++mainThreadQueries;
        }
        return defaultIdentifier;
    }
};

// Installs a FakeBrowserLocator as the shared locator for the life of the object.
class SharedFakeBrowserLocator
{
public:
    SharedFakeBrowserLocator() : locator(std::make_shared<FakeBrowserLocator>())
    {
        BrowserLocator::setShared(locator);
    }
    ~SharedFakeBrowserLocator() { BrowserLocator::setShared(nullptr); }
    SharedFakeBrowserLocator(const SharedFakeBrowserLocator&) = delete;
    SharedFakeBrowserLocator& operator=(const SharedFakeBrowserLocator&) = delete;

    FakeBrowserLocator* operator->() const { return locator.get(); }
    FakeBrowserLocator& operator*() const { return *locator; }

private:
    std::shared_ptr<FakeBrowserLocator> locator;
};
