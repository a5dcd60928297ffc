#!/usr/bin/env python3
"""Parses the macOS CI workflow as YAML and checks what a Mac runner would do with it: a macOS
arm64 runner, the README's Homebrew dependencies, scripts/test, cpack and the disk image kept as
an artifact. Prints one line per problem."""

import os
import shutil
import sys

try:
    import yaml
except ImportError:
    # Debian's python3-yaml belongs to the system's python3, which may not be the one CMake found.
    system = shutil.which('python3', path='/usr/bin')
    if system and os.path.realpath(system) != os.path.realpath(sys.executable) and \
            not os.environ.get('WISP_WORKFLOW_CHECK_REEXEC'):
        os.environ['WISP_WORKFLOW_CHECK_REEXEC'] = '1'
        os.execv(system, [system] + sys.argv)
    print('PyYAML is missing (Debian: python3-yaml)')
    sys.exit(1)


def main():
    workflow_path, readme_path = sys.argv[1], sys.argv[2]
    problems = []
    try:
        with open(workflow_path, encoding='utf-8') as stream:
            workflow = yaml.safe_load(stream)
    except (OSError, yaml.YAMLError) as error:
        print(f'{workflow_path}: not YAML: {error}')
        return 1
    if not isinstance(workflow, dict):
        print(f'{workflow_path}: the top level is not a mapping')
        return 1
    # YAML 1.1 reads the key "on" as true.
    if 'on' not in workflow and True not in workflow:
        problems.append('no "on" triggers')
    jobs = workflow.get('jobs')
    if not isinstance(jobs, dict) or not jobs:
        print(f'{workflow_path}: no jobs')
        return 1

    runs = []
    uses = []
    runners = []
    for name, job in jobs.items():
        if not isinstance(job, dict):
            problems.append(f'job {name} is not a mapping')
            continue
        runners.append(str(job.get('runs-on', '')))
        for step in job.get('steps') or []:
            if not isinstance(step, dict):
                problems.append(f'job {name}: a step is not a mapping')
                continue
            if 'run' in step:
                runs.append(str(step['run']))
            if 'uses' in step:
                uses.append((str(step['uses']), step.get('with') or {}))

    # Apple Silicon runners: macos-14 and later, or macos-latest.
    def arm_mac(label):
        if label == 'macos-latest':
            return True
        if label.startswith('macos-') and label[6:].split('-')[0].isdigit():
            return int(label[6:].split('-')[0]) >= 14 and not label.endswith('-large')
        return False

    if not any(arm_mac(label) for label in runners):
        problems.append(f'no current macOS arm64 runner: {runners}')

    script = '\n'.join(runs)
    with open(readme_path, encoding='utf-8') as stream:
        readme = stream.read()
    marker = 'On macOS, `brew install '
    if marker in readme:
        formulae = readme.split(marker, 1)[1].split('`', 1)[0].split()
        brew = [line for line in script.splitlines() if 'brew install' in line]
        missing = [f for f in formulae if not any(f in line.split() for line in brew)]
        if missing:
            problems.append(f'the README\'s Homebrew dependencies are not installed: {missing}')
    else:
        problems.append('README.md names no Homebrew dependencies')

    def position(word):
        for index, run in enumerate(runs):
            if any(token == word or token.endswith('/' + word) for token in run.split()):
                return index
        return -1

    test = position('scripts/test')
    cpack = position('cpack')
    if test == -1:
        problems.append('scripts/test is never run')
    if cpack == -1:
        problems.append('cpack is never run')
    if test != -1 and cpack != -1 and cpack < test:
        problems.append('cpack runs before scripts/test has built the tree')
    if '--sanitize' in script:
        problems.append('the Mac runs the suite without sanitizers')
    uploads = [w for u, w in uses if u.startswith('actions/upload-artifact@')]
    if not any('.dmg' in str(w.get('path', '')) for w in uploads):
        problems.append('the disk image is not kept as an artifact')
    if not any(u.startswith('actions/checkout@') for u, _ in uses):
        problems.append('the repository is never checked out')

    for problem in problems:
        print(f'{workflow_path}: {problem}')
    if not problems:
        print(f'{os.path.basename(workflow_path)}: runs scripts/test and cpack on {runners}')
    return 1 if problems else 0


if __name__ == '__main__':
    sys.exit(main())
