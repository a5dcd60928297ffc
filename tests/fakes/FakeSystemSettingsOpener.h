#pragma once

#include "Platform/SystemSettingsOpener.h"

#include <QStringList>

class FakeSystemSettingsOpener : public SystemSettingsOpener
{
public:
    QStringList opened;

    void open(const QString& address) override { opened.append(address); }
};
