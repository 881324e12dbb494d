#!/usr/bin/env bash
# The installed program finds the installed library by itself; its manual page stands beside it.
. "$(dirname "$0")/common.sh"
env -u LD_LIBRARY_PATH "$prefix/bin/qolsc" --version | grep -q '^8\.2\.1' || fails "version"
env -u LD_LIBRARY_PATH "$prefix/bin/qolsc" codecs | grep -q g726-32 || fails "codecs"
[ -s "$prefix/share/man/man1/qolsc.1" ] || fails "manual page"
for command in $("$prefix/bin/qolsc" --help | sed -n '/^Subcommands/,$s/^  \([a-z-]*\) .*/\1/p'); do
  grep -q "qolsc $command\|\.B $command\|qolsc\\\\ $command\|^\.B qolsc $command" "$prefix/share/man/man1/qolsc.1" ||
    fails "the manual page knows nothing of $command"
done
