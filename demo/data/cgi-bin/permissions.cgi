#!/bin/sh
# A permissions run on one file. The query of the request is the permission string.
# shellcheck source=environment source-path=SCRIPTDIR
. ./environment
export QVXPERMS="$QUERY_STRING"
export QVXFPATH="$base/data/htdocs/notes.txt"
printf 'Content-Type: text/plain\r\n\r\n'
exec "$base/sbin/qvxlauncher" permissions file
