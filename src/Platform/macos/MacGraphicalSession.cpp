#include "Platform/GraphicalSession.h"

// A macOS application always has the window server of the user's session.
QString GraphicalSession::missingDisplayReason(const QProcessEnvironment&)
{
    return QString();
}
