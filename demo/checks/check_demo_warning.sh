#!/bin/sh
# A check in the common plug-in convention: WARNING (exit 1) while the file given exists.
if [ -f "$1" ]; then
  echo "WARNING - $1 is present|present=1;1;;0;1"
  exit 1
fi
echo "OK - $1 is absent|present=0;1;;0;1"
exit 0
