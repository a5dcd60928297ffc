#pragma once

#include <QString>

#include <exception>

// The text an error shows to the user: a WispError's localised description, else what().
QString errorDescription(const std::exception& error);
