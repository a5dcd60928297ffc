#include "HotKey/KeyCombo.h"

#include "Platform/macos/CFRef.h"

#include <QString>
#include <QVariant>

// Keep AssertMacros' lower-case `check`, `verify` and `require` out of C++ code.
#define __ASSERT_MACROS_DEFINE_VERSIONS_WITHOUT_UNDERSCORES 0
#include <Carbon/Carbon.h>
#include <CoreFoundation/CoreFoundation.h>

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
    const CFRef<CFStringRef> cfKey(
        CFStringCreateWithCString(kCFAllocatorDefault, key, kCFStringEncodingUTF8));
    if (!cfKey) {
        return {};
    }
    // Get rule: the value belongs to the dictionary.
    return toVariant(CFDictionaryGetValue(entry, cfKey.get()));
}

} // namespace

QList<KeyCombo> KeyCombo::systemKeyCombos()
{
    CFRef<CFArrayRef> hotKeys;
    if (CopySymbolicHotKeys(hotKeys.adopt()) != noErr || !hotKeys) {
        return {};
    }

    static const char* const keys[] = {"kHISymbolicHotKeyCode", "kHISymbolicHotKeyModifiers",
                                       "kHISymbolicHotKeyEnabled"};
    QVariantList entries;
    const CFIndex count = CFArrayGetCount(hotKeys.get());
    for (CFIndex index = 0; index < count; ++index) {
        const CFTypeRef item = CFArrayGetValueAtIndex(hotKeys.get(), index);
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
    return fromSymbolicHotKeys(entries);
}
