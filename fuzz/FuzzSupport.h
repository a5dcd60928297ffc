#pragma once

// What every fuzz target shares: a Qt application object, quiet logging and a hard check.

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QString>
#include <QTemporaryDir>
#include <QtGlobal>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

// A violated property is a finding: libFuzzer keeps the input that trapped.
#define FUZZ_CHECK(condition)                                                                      \
    do {                                                                                           \
        if (!(condition)) {                                                                        \
            std::fprintf(stderr, "FUZZ_CHECK failed: %s (%s:%d)\n", #condition, __FILE__,          \
                         __LINE__);                                                                \
            __builtin_trap();                                                                      \
        }                                                                                          \
    } while (false)

namespace fuzz {

// Log lines of rejected input would drown libFuzzer's own output; fatal messages still abort.
inline void quietMessages(QtMsgType type, const QMessageLogContext&, const QString& message)
{
    if (type == QtFatalMsg) {
        std::fprintf(stderr, "qFatal: %s\n", qPrintable(message));
        std::abort();
    }
}

// Some Qt internals (file engines, logging categories) want an application object.
inline void initialize(int* argc, char*** argv)
{
    qInstallMessageHandler(quietMessages);
    static QCoreApplication application(*argc, *argv);
}

inline QString text(const std::uint8_t* data, std::size_t size)
{
    return QString::fromUtf8(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
}

inline QByteArray bytes(const std::uint8_t* data, std::size_t size)
{
    return QByteArray(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
}

// A folder for the files a target must write, removed when the process exits normally
// (scripts/fuzz gives each run a temporary folder of its own for the other cases).
inline const QTemporaryDir& scratch()
{
    static QTemporaryDir folder;
    if (!folder.isValid()) {
        std::fprintf(stderr, "cannot create a temporary folder\n");
        std::abort();
    }
    return folder;
}

// Writes the input as the file `name` of the scratch folder, for the readers that take a path;
// returns that path.
inline QString writeScratchFile(const QString& name, const std::uint8_t* data, std::size_t size)
{
    const QString path = QDir(scratch().path()).filePath(name);
    QFile file(path);
    FUZZ_CHECK(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    FUZZ_CHECK(file.write(bytes(data, size)) == static_cast<qint64>(size));
    return path;
}

} // namespace fuzz

#define FUZZ_INITIALIZE()                                                                          \
    extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv)                                   \
    {                                                                                              \
        fuzz::initialize(argc, argv);                                                              \
        return 0;                                                                                  \
    }
