#!/bin/sh
# Makes the plots of the pages anew: make.sh TARNSIM. Runs come to build/figures, pictures to docs/images.
set -eu
tarnsim=$(realpath "$1")
cd "$(dirname "$0")/../.."
runs=build/figures
mkdir -p docs/images

for scenario in guide identify-friction collide drag wall press polish weigh; do
    "$tarnsim" run $scenario --out $runs | tail -n 3 | head -n 1
done

# plot PICTURE RUN ARGUMENT ...
plot() {
    picture=$1
    run=$2
    shift 2
    tools/figures/plot.py "$runs/$run.csv" "docs/images/$picture.svg" "$@"
}

plot guide guide --unit N --title "Force of the hand: without friction compensation, from 8 s with it" \
    hand_N_magnitude=hand
plot friction identify-friction --to 61 --unit "N m" --over j6vel_deg_s_1=deg/s \
    --title "Friction of joint 1, motor side: sampled, true, fitted" \
    friction_Nm_model=sampled friction_Nm_plant=true friction_Nm_fitted=fitted
plot collide collide --from 0.64 --to 0.74 --unit "" \
    --title "A wall is met: measured less expected torque, in half bands of level 3" \
    precent_share_1="joint 1" precent_share_2="joint 2" precent_share_3="joint 3" \
    precent_share_4="joint 4" precent_share_5="joint 5" precent_share_6="joint 6"
plot drag drag --to 9.6 --unit "" --title "A hand pulls the tool to and fro along x, B 200 N s/m" \
    speed_mm_s_x="speed, mm/s" hand_N_x="hand, N"
plot wall wall --to 11 --unit mm --title "A hand pushes the tool at a wall, 3 s long, and takes it back" \
    offset_mm_x="way of the tool"
plot press press --to 38 --unit N --title "Force on the workpiece: flat and wavy, along z and along x" \
    press_N_true=true press_N_target=target
plot polish polish --unit N --title "Error of the force: not learning, first and fourth learning pass, replay" \
    press_error_N_error=error
plot weigh weigh --unit N --title "Sensor's z while the wrist moves: weighed in three poses, then compensated" \
    reading_N_z=reading left_N_z=compensated
