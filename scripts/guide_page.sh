#!/bin/sh
# Converts the guide to a web page: guide_page.sh MARKDOWN_PY GUIDE.md PAGE.html
set -eu
body=$("$1" -x tables -x fenced_code -x toc -x sane_lists "$2")
cat >"$3" <<END
<!DOCTYPE html>
<html lang="en">
<meta charset="utf-8">
<meta name="viewport" content="width=device-width">
<title>Keying photographs: a guide</title>
<style>
body { max-width: 60em; margin: 2em auto; padding: 0 1em; font: 1em/1.5 sans-serif; color: #222; background: #fff }
img { max-width: 100% }
table { border-collapse: collapse }
th, td { border: 1px solid #ccc; padding: 0.2em 0.6em; text-align: left }
pre { background: #f4f4f4; padding: 0.6em; overflow: auto }
</style>
$body
</html>
END
