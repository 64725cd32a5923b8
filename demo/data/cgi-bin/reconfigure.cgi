#!/bin/sh
# A reconfigure run. The launcher replaces this shell, so that its parent is the web server.
# shellcheck source=environment source-path=SCRIPTDIR
. ./environment
printf 'Content-Type: text/plain\r\n\r\n'
exec "$base/sbin/qvxlauncher" reconfigure
