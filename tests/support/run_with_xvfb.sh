#!/bin/sh
# SPDX-License-Identifier: MIT
# run_with_xvfb.sh PROGRAM [ARGS...]: runs PROGRAM on an X server of its own (Xvfb, Debian package
# xvfb) with Qt's xcb platform, then stops the server. The server picks a free display and names it
# through -displayfd, so parallel runs never race for one. Exits 77 (CTest's skip) without Xvfb.
command -v Xvfb >/dev/null 2>&1 || { echo "Xvfb is not installed (Debian package xvfb): skipped"; exit 77; }
dir=$(mktemp -d) || exit 1
Xvfb -displayfd 3 -screen 0 1280x1024x24 -nolisten tcp 3>"$dir/display" 2>"$dir/server.log" &
server=$!
trap 'kill $server 2>/dev/null; wait $server 2>/dev/null; rm -rf "$dir"' EXIT
tries=0
while [ ! -s "$dir/display" ]; do
  tries=$((tries + 1))
  if [ $tries -gt 100 ] || ! kill -0 $server 2>/dev/null; then
    echo "Xvfb did not start:"; cat "$dir/server.log"; exit 1
  fi
  sleep 0.1
done
DISPLAY=:$(head -n 1 "$dir/display") QT_QPA_PLATFORM=xcb "$@"
