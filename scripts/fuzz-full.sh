#!/usr/bin/env bash
# Runs every fuzz target for ten minutes and prints what each executed and covered.
#
#   [WYSDK_JOBS=N] scripts/fuzz-full.sh [SECONDS [TARGET...]]
#
# Two targets run at a time, or N.
#
# Executions and edges are libFuzzer's own figures. Lines are those of the sources that a target is
# about, counted by a second build with coverage over what the run has found. What was found stays
# in build/fuzz/<target>; inputs that broke something are named <target>-crash-* there.
set -euo pipefail
cd "$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")/.."

seconds=${1:-600}
shift $(($# > 0 ? 1 : 0))
work=build/fuzz
fuzz_bin=build/native-fuzz/bin
coverage_build=build/native-fuzz-coverage

# The sources that a target is about.
unit_of() {
    local ipc=src/Framework/utilIPC rpc=src/utilRPC common=src/Common/KrCommon
    case $1 in
        FuzzEnvelope) echo $ipc/ipc_msg_buffer.cpp ;;
        FuzzParamMessage) echo $ipc/ipc_param_message.cpp $ipc/ipc_data_handle.cpp ;;
        FuzzCommandResult) echo $rpc/RpcMessages.cpp $rpc/RpcClientManager.cpp ;;
        FuzzReplyOutputs) echo src/WySdk/SdkPrimitive.cpp ;;
        FuzzEventEntry) echo src/WySdk/EventBus.cpp src/lib/KrOuterClientHelper/OuterClientHelper.cpp ;;
        FuzzCsidlText) echo src/lib/wycommon/WyCommon_CsidlTokens.cpp ;;
        FuzzDecipher) echo $common/KrComn_{StringCrypt,Base64,Rijndael}.cpp ;;
        FuzzJsonDb) echo src/lib/wycommon/WyCommon_JsonDb.cpp ;;
        FuzzText) echo $common/KrComn_String{,Format}.cpp ;;
        FuzzTraceName) echo trace/TraceName.cpp ;;
        FuzzXml) echo $common/KrComn_Xml*.cpp ;;
        FuzzManifest) echo src/deploy/PackageManifest.cpp wyctl/PackageLint*.cpp wyctl/PackageXml.cpp ;;
        FuzzProductId) echo src/Tool/UpdateAgent/luxWrapper_ProductId.cpp ;;
        FuzzJson) echo src/lib/wycommon/WyCommon_JsonDocument.cpp src/lib/wycommon/WyCommon_JsonText.cpp ;;
        FuzzHostRequest) echo devhost/HostServer.cpp devhost/HostWire.cpp devhost/EventHandlers.cpp ;;
        FuzzHostFaults) echo devhost/FaultScript.cpp devhost/FaultFile.cpp devhost/EventEmitter.cpp ;;
        *) echo "no sources are known for $1; enter them in $0" >&2 && return 1 ;;
    esac
}

# In the folder of the programs, where the library lies that one of them loads.
run_one() {
    local target=$1 corpus=$PWD/tests/fuzz/corpus/$1 out=$PWD/$work
    mkdir -p "$out/$target"
    (cd "$fuzz_bin" && "./$target" -max_total_time="$seconds" -timeout=25 -rss_limit_mb=3072 \
        -artifact_prefix="$out/$target-" -print_final_stats=1 "$out/$target" \
        "$corpus" >"$out/$target.log" 2>&1) ||
        echo "$target stopped: see $work/$target.log" >&2
}

# The share of lines that all inputs together reach in the target's sources.
lines_of() {
    local target=$1 profile=$PWD/$work/$1.profraw corpora=("$PWD/$work/$1" "$PWD/tests/fuzz/corpus/$1")
    (cd "$coverage_build/bin" &&
        LLVM_PROFILE_FILE=$profile "./$target" -runs=0 "${corpora[@]}" >/dev/null 2>&1)
    llvm-profdata-14 merge -sparse "$profile" -o "$work/$target.profdata"
    llvm-cov-14 report "$coverage_build/bin/$target" -instr-profile="$work/$target.profdata" |
        awk -v unit="$(unit_of "$target")" '
            BEGIN { split(unit, names, " "); for (i in names) wanted[names[i]] = 1 }
            $1 in wanted { lines += $8; missed += $9 }
            END { printf "%d of %d", lines - missed, lines }'
}

cmake --preset native-fuzz >/dev/null
cmake --build build/native-fuzz -j"$(nproc)" >/dev/null
if [ $# -gt 0 ]; then
    targets=("$@")
else
    mapfile -t targets < <(awk -F'\t' '$1 == "fuzz" { print $3 }' build/native-fuzz/wytests.list)
fi
mkdir -p "$work"

running=0
for target in "${targets[@]}"; do
    unit_of "$target" >/dev/null
    if [ $running -ge "${WYSDK_JOBS:-2}" ]; then
        wait -n
        running=$((running - 1))
    fi
    echo "$target: $seconds s" >&2
    run_one "$target" &
    running=$((running + 1))
done
wait

cmake --preset native-fuzz -B "$coverage_build" \
    -DCMAKE_C_FLAGS="-fprofile-instr-generate -fcoverage-mapping" \
    -DCMAKE_CXX_FLAGS="-fprofile-instr-generate -fcoverage-mapping" >/dev/null
cmake --build "$coverage_build" -j"$(nproc)" --target "${targets[@]}" >/dev/null

echo "| target | executions | edges | inputs kept | lines of its unit | outcome |"
echo "|---|---|---|---|---|---|"
failed=0
for target in "${targets[@]}"; do
    log=$work/$target.log
    executions=$(awk '/^stat::number_of_executed_units/ { print $2 }' "$log")
    edges=$(grep -o '\bcov: [0-9]*' "$log" | tail -1 | cut -d' ' -f2)
    kept=$(find "$work/$target" -type f | wc -l)
    outcome="nothing found"
    if compgen -G "$work/$target-*" >/dev/null || ! grep -q '^Done ' "$log"; then
        outcome="see $log"
        failed=1
    fi
    echo "| $target | ${executions:-unknown} | ${edges:-unknown} | $kept | $(lines_of "$target") | $outcome |"
done
exit $failed
