#include "HotKey/KeyCombo.h"

#include <QString>
#include <QVariant>

// Keep AssertMacros' lower-case `check`, `verify` and `require` out of C++ code.
#define __ASSERT_MACROS_DEFINE_VERSIONS_WITHOUT_UNDERSCORES 0
#include <Carbon/Carbon.h>

namespace {

// Booleans and numbers as QVariant; anything else as an invalid QVariant.
QVariant toVariant(CFTypeRef value)
{
    if (!value) {
        return {};
    }
    if (CFGetTypeID(value) == CFBooleanGetTypeID()) {
        return QVariant(CFBooleanGetValue(static_cast<CFBooleanRef>(value)) != 0);
    }
    if (CFGetTypeID(value) == CFNumberGetTypeID()) {
        SInt64 number = 0;
        if (CFNumberGetValue(static_cast<CFNumberRef>(value), kCFNumberSInt64Type, &number)) {
            return QVariant::fromValue<qlonglong>(number);
        }
        double real = 0;
        if (CFNumberGetValue(static_cast<CFNumberRef>(value), kCFNumberDoubleType, &real)) {
            return QVariant(real);
        }
    }
    return {};
}

QVariant entryValue(CFDictionaryRef entry, const char* key)
{
    const CFStringRef cfKey =
        CFStringCreateWithCString(kCFAllocatorDefault, key, kCFStringEncodingUTF8);
    if (!cfKey) {
        return {};
    }
    const QVariant value = toVariant(CFDictionaryGetValue(entry, cfKey));
    CFRelease(cfKey);
    return value;
}

} // namespace

QList<KeyCombo> KeyCombo::systemKeyCombos()
{
    CFArrayRef hotKeys = nullptr;
    if (CopySymbolicHotKeys(&hotKeys) != noErr || !hotKeys) {
        return {};
    }

    static const char* const keys[] = {"kHISymbolicHotKeyCode", "kHISymbolicHotKeyModifiers",
                                       "kHISymbolicHotKeyEnabled"};
    QVariantList entries;
    const CFIndex count = CFArrayGetCount(hotKeys);
    for (CFIndex index = 0; index < count; ++index) {
        const CFTypeRef item = CFArrayGetValueAtIndex(hotKeys, index);
        QVariantMap entry;
        if (item && CFGetTypeID(item) == CFDictionaryGetTypeID()) {
            for (const char* key : keys) {
                const QVariant value = entryValue(static_cast<CFDictionaryRef>(item), key);
                if (value.isValid()) {
                    entry.insert(QString::fromLatin1(key), value);
                }
            }
        }
        entries.append(entry);
    }
    CFRelease(hotKeys);
    return fromSymbolicHotKeys(entries);
}
