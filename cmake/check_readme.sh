#!/usr/bin/env bash
# Do the commands that README.md shows print what it says? They run in its order, in an empty folder.
#
#   cmake/check_readme.sh SOURCE_DIR FOLDER_OF_ZUK
set -euo pipefail

source_dir=$1
PATH=$2:$PATH
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
ln -s "$source_dir/examples" "$work/examples"
export ZUK_CONFIG_DIR=$work/settings   # none, rather than those of this machine

shown() { awk '/^    \$ zuk / { block = 1 } !/^    / { block = 0 } block { print substr($0, 5) }' "$source_dir/README.md"; }

run() {
    cd "$work"
    shown | grep '^\$ ' | while read -r _ command; do
        echo "\$ $command"
        # The text of a resource may end without a line end; sed adds it.
        # shellcheck disable=SC1003
        bash -c "$command" 2>&1 </dev/null | sed '$a\'
    done
}

commands=$(shown | grep -c '^\$ ')
diff <(shown) <(run)
echo "$commands commands, all as shown"
