#!/usr/bin/env python3
"""Parses the macOS bundle's Info.plist and entitlements as property lists (strict XML) and
checks the keys a menu-bar app with browser automation needs. Prints one line per problem."""

import argparse
import re
import sys
import plistlib
from xml.parsers.expat import ExpatError


def load(path, problems):
    try:
        with open(path, 'rb') as handle:
            data = handle.read()
        if b'@' in data and re.search(rb'@[A-Z_]+@', data):
            problems.append(f'{path}: a template variable was left unreplaced')
        value = plistlib.loads(data, fmt=plistlib.FMT_XML)
    except (OSError, ExpatError, ValueError) as error:
        problems.append(f'{path}: not a property list: {error}')
        return {}
    if not isinstance(value, dict):
        problems.append(f'{path}: the top level is not a dictionary')
        return {}
    return value


def expect(plist, name, key, wanted, problems):
    if key not in plist:
        problems.append(f'{name}: {key} is missing')
    elif plist[key] != wanted or type(plist[key]) is not type(wanted):
        problems.append(f'{name}: {key} is {plist[key]!r}, expected {wanted!r}')


def defaults_domain(organization, application):
    """The preferences domain Qt's native QSettings uses on macOS for an organization and
    application name: a dotted organization ending in a top-level domain is reversed."""
    suffix = organization.rsplit('.', 1)[-1].lower() if '.' in organization else ''
    if suffix and (len(suffix) == 2 or suffix in {'com', 'org', 'net', 'edu', 'gov', 'mil', 'biz',
                                                  'info', 'name', 'pro', 'aero', 'coop',
                                                  'museum'}):
        domain = organization.replace('/', ' ')
    else:
        cleaned = ''.join(c.lower() if c.isascii() and c.isalnum() else ' ' for c in organization)
        domain = '-'.join(cleaned.split())
        domain = domain + '.com' if domain else ''
    parts = domain.split('.')
    package = '.'.join(reversed(parts)).lower()
    if len(parts) == 1:
        package = 'com.' + package
    return package + '.' + application


def main():
    parser = argparse.ArgumentParser()
    for option in ('info-plist', 'entitlements', 'identifier', 'executable', 'icon', 'version',
                   'minimum-system', 'settings-store'):
        parser.add_argument('--' + option, required=True)
    args = parser.parse_args()
    problems = []

    info = load(args.info_plist, problems)
    if info:
        expect(info, 'Info.plist', 'CFBundleIdentifier', args.identifier, problems)
        expect(info, 'Info.plist', 'CFBundleExecutable', args.executable, problems)
        expect(info, 'Info.plist', 'CFBundlePackageType', 'APPL', problems)
        expect(info, 'Info.plist', 'CFBundleIconFile', args.icon, problems)
        expect(info, 'Info.plist', 'CFBundleShortVersionString', args.version, problems)
        expect(info, 'Info.plist', 'CFBundleVersion', args.version, problems)
        expect(info, 'Info.plist', 'LSMinimumSystemVersion', args.minimum_system, problems)
        # An accessory app: no Dock icon, no main menu.
        expect(info, 'Info.plist', 'LSUIElement', True, problems)
        expect(info, 'Info.plist', 'NSPrincipalClass', 'NSApplication', problems)
        usage = info.get('NSAppleEventsUsageDescription')
        if not isinstance(usage, str) or not usage.strip():
            problems.append('Info.plist: NSAppleEventsUsageDescription is missing or empty; '
                            'without it the system refuses Apple events to browsers')
        if not re.fullmatch(r'\d+(\.\d+){0,2}', str(info.get('CFBundleVersion', ''))):
            problems.append('Info.plist: CFBundleVersion is not one to three numbers')

    entitlements = load(args.entitlements, problems)
    if entitlements:
        expect(entitlements, 'entitlements', 'com.apple.security.automation.apple-events', True,
               problems)
        # Apple: leave out an entitlement whose value would be false.
        for key, value in sorted(entitlements.items()):
            if value is False:
                problems.append(f'entitlements: {key} is false; an entitlement that is not '
                                f'granted is left out')
        # Not sandboxed: the app runs servers and lsof, reads any projects folder and stops
        # processes it did not start.
        if 'com.apple.security.app-sandbox' in entitlements:
            problems.append('entitlements: com.apple.security.app-sandbox is present; wisp is '
                            'not sandboxed')

    with open(args.settings_store, encoding='utf-8') as handle:
        names = re.findall(r'QStringLiteral\("([^"]*)"\)', handle.read())
    if len(names) != 2:
        problems.append(f'{args.settings_store}: expected an organization and an application name')
    elif defaults_domain(*names) != args.identifier:
        problems.append(f'the settings live in the defaults domain {defaults_domain(*names)}, '
                        f'not in the bundle identifier {args.identifier}')

    for problem in problems:
        print(problem)
    if not problems:
        print(f'Info.plist and entitlements are sound; settings domain {args.identifier}')
    return 1 if problems else 0


if __name__ == '__main__':
    sys.exit(main())
