#include "Utilities/ErrorDescription.h"

#include "Models/WispError.h"

QString errorDescription(const std::exception& error)
{
    if (const auto* wispError = dynamic_cast<const WispError*>(&error)) {
        return wispError->localizedDescription();
    }
    return QString::fromUtf8(error.what());
}
