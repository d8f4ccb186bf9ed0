#!/bin/sh
# Takes the place of `uname` where a capture is replayed: the router's kernel has another
# release than this one.
# shellcheck shell=dash disable=SC1091

. /run/sim/lib/tool.sh
called uname "$@"
exec busybox uname "$@"
