#include "Models/WispError.h"

const char* WispError::what() const noexcept
{
    whatBuffer = errorDescription().toUtf8();
    return whatBuffer.constData();
}
