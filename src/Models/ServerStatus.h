#pragma once

#include <QMetaType>

// State of the server on the watched port.
enum class ServerStatus { running, stopped, starting, unknown };

Q_DECLARE_METATYPE(ServerStatus)
