#!/bin/sh
# The picture of the README: the page of a run as a browser shows it, of the right side the plots alone.
# Usage: make_picture.sh TARNSIM OUT.png; needs chromium
set -eu
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
"$1" run collide --out "$work" >/dev/null
sed -i 's|</head>|<style>main > :not(#plots), .hint { display: none }</style></head>|' "$work/collide.html"
# the time first: a page that is asked for a part of the run scrolls to the plots, which leaves a picture white
chromium --headless --no-sandbox --disable-gpu --hide-scrollbars --virtual-time-budget=3000 \
    --window-size=1200,800 --screenshot="$2" "file://$work/collide.html#t=4.53&zoom=4.2,5.1" 2>/dev/null
