# The lanes of a part, for scripts that source this file inside the lab. Each lane has a lab of its own, with
# whoever sits at its queue, and rests but for its turn: so what disturbs the machine for a second or an hour
# disturbs all of them, and their ratio hardly. rig.sh gives the first turn.
#
# RIG_TURNS: a folder with one FIFO for each of the RIG_LANES. RIG_LANE: this lane's number.
exec {own_turn}<>"$RIG_TURNS/$RIG_LANE" {next_turn}<>"$RIG_TURNS/$(((RIG_LANE + 1) % RIG_LANES))"

# header COLUMN...: the first line of RIG_RAW, from the first lane, at its first turn.
header() {
    local IFS=$'\t'
    [ "$RIG_LANE" != 0 ] || echo "$*" >"$RIG_RAW"
}

await_turn() { read -r -u "$own_turn"; }

pass_turn() { echo >&"$next_turn"; }
