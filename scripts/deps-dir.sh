#!/usr/bin/env bash
# Prints the folder of the cross-built dependencies, whether or not they have been built.
set -euo pipefail
# shellcheck source=scripts/lib.sh
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"
wy_deps_dir
