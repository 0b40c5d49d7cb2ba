#!/usr/bin/env bash
# Checks the Debian package as someone installing it would meet it, without
# installing anything on this machine: unpacks it into a temporary root (dpkg -x) and
# checks that the program runs from there, that the man page renders, that the
# recorder's user unit starts the installed program, and that apt could resolve its
# dependencies here.
#   scripts/check-deb.sh [package.deb]      (default: the newest build-deb/quillmere_*.deb)
set -euo pipefail
cd "$(dirname "$0")/.."

deb="${1:-$(ls -t build-deb/quillmere_*.deb 2>/dev/null | head -n 1)}"
if [[ -z "$deb" || ! -f "$deb" ]]; then
    echo "check-deb.sh: no package; build one with scripts/make-deb.sh" >&2
    exit 1
fi
root="$(mktemp -d)"
trap 'rm -rf "$root"' EXIT
failures=0
fail() {
    echo "FAIL: $*" >&2
    failures=$((failures + 1))
}
ok() { echo "ok: $*"; }

# The control fields apt reads.
[[ "$(dpkg-deb --field "$deb" Package)" == quillmere ]] && ok "package name" || fail "Package is not quillmere"
depends="$(dpkg-deb --field "$deb" Depends)"
[[ "$depends" == *libc6* ]] && ok "depends on its shared libraries ($depends)" || fail "no Depends from the libraries: '$depends'"

dpkg -x "$deb" "$root"

# The program runs from where it was unpacked and knows what it is.
version="$("$root/usr/bin/quillmere" --version 2>&1)" && [[ "$version" == "quillmere "* ]] &&
    ok "$version" || fail "usr/bin/quillmere --version: $version"
# The process library is compiled in, so a command that needs it works away from /usr.
"$root/usr/bin/quillmere" explain systemd >/dev/null 2>&1 && ok "explain runs from the unpacked root" ||
    fail "usr/bin/quillmere explain systemd failed"

# The man page is compressed and renders.
manpage="$root/usr/share/man/man1/quillmere.1.gz"
if [[ -f "$manpage" ]]; then
    rendered="$(MANWIDTH=80 man -l "$manpage" 2>/dev/null || true)"
    [[ "$rendered" == *SYNOPSIS* && "$rendered" == *"record"* && "$rendered" == *loginctl* ]] &&
        ok "man page renders ($(wc -l <<<"$rendered") lines)" || fail "man -l $manpage does not render"
else
    fail "no usr/share/man/man1/quillmere.1.gz"
fi

# The recorder's user unit runs the installed program.
unit="$root/usr/lib/systemd/user/quillmere.service"
if [[ -f "$unit" ]]; then
    exec_start="$(sed -n 's/^ExecStart=//p' "$unit")"
    program="${exec_start%% *}"
    [[ "$program" == /usr/bin/quillmere && -x "$root$program" && "$exec_start" == *" record"* ]] &&
        ok "user unit: ExecStart=$exec_start" || fail "user unit's ExecStart=$exec_start is not the installed recorder"
    grep -q '^WantedBy=default.target' "$unit" && ok "user unit starts with the session (default.target)" ||
        fail "user unit has no WantedBy=default.target"
else
    fail "no usr/lib/systemd/user/quillmere.service"
fi

# Everything else a user meets: completions, licence, the helper's units, the desktop app.
for file in usr/share/bash-completion/completions/quillmere usr/share/zsh/vendor-completions/_quillmere \
    usr/share/fish/vendor_completions.d/quillmere.fish usr/share/doc/quillmere/LICENSE \
    usr/share/quillmere/processes.json; do
    [[ -f "$root/$file" ]] && ok "$file" || fail "missing $file"
done
for file in usr/bin/quillmere-app usr/libexec/quillmere-helper; do
    [[ -e "$root/$file" ]] && ok "$file" || echo "note: $file is not in this package"
done

# apt on this machine could install it: every dependency resolves (a dry run).
if command -v apt-get >/dev/null; then
    if apt-get install --simulate --no-install-recommends "$(realpath "$deb")" >"$root/apt.log" 2>&1; then
        ok "apt-get install --simulate resolves its dependencies"
    else
        fail "apt-get install --simulate: $(tail -n 3 "$root/apt.log")"
    fi
fi

if [[ $failures -gt 0 ]]; then
    echo "check-deb.sh: $failures check(s) failed for $deb" >&2
    exit 1
fi
echo "check-deb.sh: $deb is complete"
