#pragma once

#include "Managers/SettingsManager.h"

#include <QSettings>
#include <QTemporaryDir>

#include <memory>

// A SettingsManager over a private INI file that goes away with the test.
class TestSettings
{
public:
    TestSettings()
        : manager(std::make_unique<QSettings>(dir.filePath(QStringLiteral("wisp.conf")),
                                              QSettings::IniFormat))
    {}

    SettingsManager* get() { return &manager; }
    SettingsManager* operator->() { return &manager; }

    QTemporaryDir dir;
    SettingsManager manager;
};
