#!/usr/bin/env bash
# runs objects at misbehaving cameras, looks for growth: [--minutes N] [--seed N] [--leak KIND] [--fault FAULT]...
source Tools/Dev/common.sh
source Tools/Dev/places.sh
minutes=2
seed=$((RANDOM * 32768 + RANDOM))
leak=()
faults=()
while (($#)); do
    case $1:${2:-} in
    --minutes:[1-9]*) minutes=$2 ;;
    --seed:[0-9]*) seed=$2 ;;
    --leak:handle | --leak:thread | --leak:memory) leak=(--leak "$2") ;;
    --fault:?*) faults+=(--fault "$2") ;;
    *)
        echo "usage: ./dev soak [--minutes N] [--seed N] [--leak handle|thread|memory] [--fault FAULT]..." >&2
        exit 2
        ;;
    esac
    shift 2
done
[[ $minutes =~ ^[1-9][0-9]?[0-9]?$ ]] || fail "--minutes takes 1 to 999."
ensure_setup
configure_and_build native camerasim
configure_and_build win32 Quorvane Soak LoadSoak
keep_wineserver
clean_internet_cache
folder=build/soak
rm -rf "$folder"
mkdir -p "$folder"

cameras=()
cameraIds=()
end_everything() {
    local id
    for id in "${cameraIds[@]}"; do
        kill "$id" 2>/dev/null || true
    done
    end_wineservers
}
trap end_everything EXIT

# start_camera FAMILY NAME PASSWORD-OR-NOTHING OPTION...: a simulator, in a process of its own
start_camera() {
    local family=$1 name=$2 password=$3 ports=$folder/camera${#cameras[@]}.json attempt port control
    shift 3
    [[ -z $password ]] || set -- "$@" --auth digest --user admin --password "$password"
    build/native/bin/camerasim "$@" --port-file "$ports" --seconds $((minutes * 150 + 1200)) \
        >"$folder/camera${#cameras[@]}.log" 2>&1 &
    cameraIds+=($!)
    for ((attempt = 0; attempt < 200; ++attempt)); do
        [[ ! -s $ports ]] || break
        sleep 0.1
    done
    port=$(sed -n 's/.*"port": *\([0-9]*\).*/\1/p' "$ports")
    control=$(sed -n 's/.*"controlPort": *\([0-9]*\).*/\1/p' "$ports")
    [[ $port =~ ^[0-9]+$ && $control =~ ^[0-9]+$ ]] || fail "a camera simulator did not start: $folder."
    cameras+=("$family,$name,$port,$control${password:+,password}")
}

# Sessions are shared by the camera's name, in its exact letters: each Axis camera has one of its own.
axis=(--model "AXIS P5635-E" --set Image.I0.Appearance.Resolution=480x270 --set Image.I0.Stream.FPS=5)
start_camera ipela 127.0.0.1 "" --model SNC-EP580
start_camera ipela 127.0.0.1 secret --model SNC-RH124 --nonce-requests 7
start_camera axis 127.0.0.1 "" "${axis[@]}" --rtsp-timeout 4
start_camera axis localhost secret "${axis[@]}" --rtsp-timeout 6 --nonce-requests 9
start_camera axis LocalHost "" "${axis[@]}" --rtsp-relative

status=0
echo "soak: $minutes minutes, seed $seed (--seed repeats what the cameras and the callers choose)"
timeout $((minutes * 130 + 400)) Tools/Dev/run-wine build/win32/bin/Soak.exe --seconds $((minutes * 60)) --seed "$seed" \
    --samples "$folder/samples.csv" "${leak[@]}" "${faults[@]}" "${cameras[@]}" 2>&1 | tr -d '\r' | name_places |
    tee "$folder/report.txt" || status=1
# The picture is drawn of whatever was recorded.
python3 -B Tests/Soak/plot_samples.py "$folder/samples.csv" "$folder/soak.svg" || status=1
# A run that looks at one thing only needs no second program.
if ((${#leak[@]} + ${#faults[@]} == 0)); then
    timeout $((minutes * 15 + 600)) Tools/Dev/run-wine build/win32/bin/LoadSoak.exe --seconds $((minutes * 15)) \
        --seed "$seed" "${cameras[@]}" 2>&1 | tee -a "$folder/report.txt" || status=1
fi
for id in "${cameraIds[@]}"; do
    kill -0 "$id" 2>/dev/null || fail "a camera simulator ended before the run did: $folder."
done
((status == 0)) && echo "soak: passed; samples, picture and report are in $folder" || echo "soak: FAILED" >&2
exit "$status"
