#!/bin/sh
# The picture of the README: the page of a run as a browser shows it, the arm beside the plots.
# Usage: make_picture.sh TARNSIM OUT.png; needs chromium
set -eu
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
"$1" run collide --out "$work" >/dev/null
chromium --headless --no-sandbox --disable-gpu --hide-scrollbars --virtual-time-budget=3000 \
    --window-size=1200,800 --screenshot="$2" "file://$work/collide.html#zoom=4.2,5.1&t=4.53" 2>/dev/null
