#!/bin/sh
# SPDX-License-Identifier: MIT
# atspi_session.sh PROGRAM [ARGS...]: runs PROGRAM as on a desktop where a screen reader listens: a
# session bus of its own with the accessibility bus on it (Debian packages dbus-daemon, at-spi2-core),
# an X server of its own (xvfb), and Qt's xcb platform with its AT-SPI bridge switched on. The server
# names its display through -displayfd, so parallel runs never race for one. Exits 77 (CTest's skip)
# when one of the programs is not installed.
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

dir=$(mktemp -d) || exit 1
"$ATSPI_SESSION_BUS" --launch-immediately 2>"$dir/bus.log" &
bus=$!
Xvfb -displayfd 3 -screen 0 1280x1024x24 -nolisten tcp 3>"$dir/display" 2>"$dir/server.log" &
server=$!
trap 'kill $server $bus 2>/dev/null; wait $server $bus 2>/dev/null; rm -rf "$dir"' EXIT
tries=0
while [ ! -s "$dir/display" ]; do
  tries=$((tries + 1))
  if [ $tries -gt 100 ] || ! kill -0 $server 2>/dev/null; then
    echo "Xvfb did not start:"; cat "$dir/server.log"; exit 1
  fi
  sleep 0.1
done
DISPLAY=:$(head -n 1 "$dir/display") QT_QPA_PLATFORM=xcb QT_LINUX_ACCESSIBILITY_ALWAYS_ON=1 "$@"
status=$?
exit $status
