#include "Utilities/Log.h"

#include <QDebug>
#include <QMutexLocker>
#include <QRecursiveMutex>

#include <cstdio>
#include <map>

namespace {

struct SinkRegistry
{
    QRecursiveMutex mutex;
    int nextId = 1;
    std::map<int, Log::Sink> sinks;
};

SinkRegistry& registry()
{
    static SinkRegistry instance;
    return instance;
}

void notify(Log::Stream stream, const QString& text)
{
    auto& reg = registry();
    QMutexLocker locker(&reg.mutex);
    for (const auto& [id, sink] : reg.sinks) {
        sink(stream, text);
    }
}

} // namespace

void Log::line(const QString& text)
{
    // The default category keeps the line free of a category prefix.
    qInfo().noquote() << text;
    notify(Stream::SystemLog, text);
}

void Log::print(const QString& text)
{
    const QByteArray bytes = text.toUtf8();
    std::fwrite(bytes.constData(), 1, static_cast<size_t>(bytes.size()), stdout);
    std::fputc('\n', stdout);
    std::fflush(stdout);
    notify(Stream::StandardOutput, text);
}

int Log::addSink(Sink sink)
{
    auto& reg = registry();
    QMutexLocker locker(&reg.mutex);
    const int id = reg.nextId++;
    reg.sinks.emplace(id, std::move(sink));
    return id;
}

void Log::removeSink(int id)
{
    auto& reg = registry();
    QMutexLocker locker(&reg.mutex);
    reg.sinks.erase(id);
}
