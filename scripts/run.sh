#!/usr/bin/env bash
# The main job: Vantirel.exe showing the bundled sample picture under Wine
# (on a virtual display when there is none, with a screenshot). Builds and
# installs what is missing first.
exec bash "$(dirname "$0")/run-viewer.sh" "$@"
