#pragma once

#include <QByteArray>
#include <QString>
#include <QTemporaryDir>

#include <chrono>
#include <functional>

namespace TestSupport {

using namespace std::chrono_literals;

// Processes events until `condition` holds or `timeout` passes; returns the condition's value.
bool waitUntil(const std::function<bool()>& condition, std::chrono::milliseconds timeout = 10s);

// A TCP port on 127.0.0.1 that nothing listens on at the moment of the call.
int freePort();

// Writes `contents` to `root`/`relativePath`, creating folders on the way; fails the test on error.
void writeFile(const QString& root, const QString& relativePath, const QByteArray& contents = {});
void makeDir(const QString& root, const QString& relativePath);

// The number of file descriptors open in this process.
int openFileDescriptorCount();

// A memory figure of a process from /proc/PID/status, such as "VmRSS" or "VmHWM", in KiB; -1
// when unknown.
qint64 processMemoryKiB(qint64 pid, const QByteArray& field);

// An absolute path under the source tree's tests/fixtures folder.
QString fixturePath(const QString& relativePath);

} // namespace TestSupport
