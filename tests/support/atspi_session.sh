#!/bin/sh
# SPDX-License-Identifier: MIT
# atspi_session.sh PROGRAM [ARGS...]: runs PROGRAM as on a desktop where a screen reader listens: a
# session bus of its own with the accessibility bus on it (Debian packages dbus-daemon, at-spi2-core),
# an X server of its own (run_with_xvfb.sh), and Qt's xcb platform with its AT-SPI bridge switched on.
# Exits 77 (CTest's skip) when one of the programs is not installed.
launcher=
for f in /usr/libexec/at-spi-bus-launcher /usr/lib/at-spi2-core/at-spi-bus-launcher; do
  [ -x "$f" ] && launcher=$f && break
done
if [ -z "$launcher" ] || ! command -v dbus-run-session >/dev/null 2>&1 || ! command -v Xvfb >/dev/null 2>&1; then
  echo "needs dbus-run-session, at-spi-bus-launcher and Xvfb (Debian: dbus-daemon at-spi2-core xvfb): skipped"
  exit 77
fi
if [ -z "$ATSPI_SESSION_BUS" ]; then
  ATSPI_SESSION_BUS=$launcher exec dbus-run-session -- "$0" "$@"
fi

"$ATSPI_SESSION_BUS" --launch-immediately 2>/dev/null &
bus=$!
trap 'kill $bus 2>/dev/null; wait $bus 2>/dev/null' EXIT
QT_LINUX_ACCESSIBILITY_ALWAYS_ON=1 sh "$(dirname "$0")/run_with_xvfb.sh" "$@"
status=$?
exit $status
