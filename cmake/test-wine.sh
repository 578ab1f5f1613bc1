#!/usr/bin/env bash
# test-wine.sh PROGRAM ARGUMENTS...: runs the test program. Under Wine one start in some thousand fails before the program's
# first instruction. It has then not made the file that it makes first of all, and is started once more; what has begun to run
# counts as it ends.
started=$(mktemp -u --tmpdir norvik-test.XXXXXXXX)
trap 'rm -f "$started"' EXIT
for try in first second; do
    NORVIK_TEST_STARTED=Z:${started//\//\\} wine "$@"
    rc=$?
    if [ $rc = 0 ] || [ -e "$started" ]; then break; fi
    echo "The $try start failed with code $rc: the program did not run."
done
exit $rc
