# Adds up what the test programs in CTest logs report, and prints "N passed, N failed[, N skipped]".
# Exits with 1 when anything failed or when no test was run.
{ sub(/\r$/, "") }
/^[0-9]+\/[0-9]+ Testing: / { programPassed = 0; programFailed = 0; programSkipped = 0; counted = 0 }
/^\[  PASSED  \] [0-9]+ test/ { programPassed += $4; counted = 1 }
/^\[  SKIPPED \] [0-9]+ test/ { programSkipped += $4 }
/^\[  FAILED  \] [0-9]+ test/ { programFailed += $4; counted = 1 }
/^Test Passed\.$/ { if (!counted) programPassed = 1; add() }
/^Test Failed\.$/ { if (programFailed == 0) programFailed = 1; add() }
/^Test (Timeout|Not Run|Exception)/ { if (programFailed == 0) programFailed = 1; add() }
function add() { passed += programPassed; failed += programFailed; skipped += programSkipped }
END {
    printf "%d passed, %d failed", passed, failed
    if (skipped > 0) printf ", %d skipped", skipped
    printf "\n"
    exit (failed > 0 || passed == 0) ? 1 : 0
}
