#include "Platform/FileNameCase.h"

#include <QFile>

#include <fcntl.h>
#include <linux/fs.h>
#include <linux/magic.h>
#include <sys/ioctl.h>
#include <sys/statfs.h>
#include <unistd.h>

namespace {

// Not every kernel header names these.
constexpr unsigned int caseFoldFlag = 0x40000000; // FS_CASEFOLD_FL
constexpr long exfatMagic = 0x2011BAB0;

} // namespace

Qt::CaseSensitivity FileNameCase::of(const QString& folderPath)
{
    const QByteArray nativePath = QFile::encodeName(folderPath);
    const int fd = ::open(nativePath.constData(), O_RDONLY | O_DIRECTORY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) {
        return Qt::CaseSensitive;
    }
    Qt::CaseSensitivity result = Qt::CaseSensitive;
    struct statfs volume
    {};
    if (::fstatfs(fd, &volume) == 0 &&
        (volume.f_type == MSDOS_SUPER_MAGIC || volume.f_type == exfatMagic)) {
        result = Qt::CaseInsensitive;
    } else {
        // ext4, f2fs and tmpfs fold case per folder, marked by a flag inherited from the parent.
        int flags = 0;
        if (::ioctl(fd, FS_IOC_GETFLAGS, &flags) == 0 &&
            (static_cast<unsigned int>(flags) & caseFoldFlag) != 0) {
            result = Qt::CaseInsensitive;
        }
    }
    ::close(fd);
    return result;
}
