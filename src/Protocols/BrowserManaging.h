#pragma once

#include "Models/Browser.h"

#include <QCoro/QCoroTask>
#include <QObject>
#include <QString>

// Browser automation. Every operation that drives a browser throws BrowserError.
class BrowserManaging : public QObject
{
    Q_OBJECT
public:
    using QObject::QObject;
    ~BrowserManaging() override = default;

    // The concrete browser standing for auto; never auto.
    virtual Browser getDefaultBrowser() = 0;
    virtual QCoro::Task<> activateBrowser(Browser browser) = 0;
    // True when a window or tab showing `url` was found and brought to the front.
    virtual QCoro::Task<bool> findExistingWindow(QString url, Browser browser) = 0;
    virtual QCoro::Task<> openIncognito(QString url, Browser browser) = 0;
    virtual QCoro::Task<> reloadPage(Browser browser) = 0;
};
