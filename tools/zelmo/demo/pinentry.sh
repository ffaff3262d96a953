#!/usr/bin/env bash
# Stands for the person at the PIN dialog of the demo: shows in $DEMO_OUTPUT what is asked and answered.
echo OK
while read -r command text; do
    case $command in
        SETDESC) question=$(printf '%b' "${text//%/\\x}") ;;
        GETPIN) echo "D 246810"; echo "[dialog] $question 246810" >>"$DEMO_OUTPUT" ;;
    esac
    echo OK
done
