#pragma once

#include <QString>

// The few rules that turn an address text into what the browser is given.
class Addresses
{
public:
    Addresses() = delete;

    // A custom address as the user typed it: trimmed of white space and line ends, with
    // "https://" in front unless it begins with "http" (so "httpbin.org" stays as it is).
    static QString customAddress(const QString& text);
    // "localhost:" and the port; local addresses carry no scheme.
    static QString localAddress(int port);
    // What a browser opens: "http://" in front of a text that does not begin with "http".
    static QString browserAddress(const QString& text);
};
