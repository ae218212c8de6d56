#!/usr/bin/env bash
# Builds the stand-in DWSIM assemblies into standin/out/dwsim/ with Mono's mcs.
# Each assembly is rebuilt only when one of its sources, data files or references is newer
# than the .dll, so a second run is a no-op. Warnings are errors: none may be left.
set -euo pipefail
here="$(cd "$(dirname "$0")" && pwd)"
out="$here/out/dwsim"
probe_out="$here/out/probe"
mkdir -p "$out" "$probe_out"

MCS_FLAGS=(-target:library -langversion:6 -warn:4 -warnaserror+ -nologo -optimize+ -debug-)

# name | references (assemblies of this folder, in build order) | extra mcs args
assemblies=(
  "System.Buffers||"
  "DWSIM.GlobalSettings||"
  "DWSIM.Interfaces||"
  "DWSIM.MathOps||"
  "DWSIM.Inspector|DWSIM.GlobalSettings|"
  "DWSIM.SharedClasses|DWSIM.Interfaces DWSIM.GlobalSettings|"
  "DWSIM.Thermodynamics|DWSIM.Interfaces DWSIM.GlobalSettings DWSIM.SharedClasses DWSIM.MathOps|-resource:$here/data/compounds.tsv,compounds.tsv -resource:$here/data/constants.tsv,constants.tsv -resource:$here/data/nrtl.tsv,nrtl.tsv -resource:$here/data/pr_kij.tsv,pr_kij.tsv -resource:$here/data/srk_kij.tsv,srk_kij.tsv"
  "DWSIM.Drawing.SkiaSharp|DWSIM.Interfaces|"
  "DWSIM.UnitOperations|DWSIM.Interfaces DWSIM.GlobalSettings DWSIM.SharedClasses DWSIM.MathOps DWSIM.Thermodynamics|"
  "DWSIM.FlowsheetSolver|DWSIM.Interfaces DWSIM.GlobalSettings DWSIM.Inspector DWSIM.SharedClasses DWSIM.Thermodynamics DWSIM.UnitOperations|"
  "DWSIM.FlowsheetBase|DWSIM.Interfaces DWSIM.GlobalSettings DWSIM.SharedClasses DWSIM.Thermodynamics DWSIM.Drawing.SkiaSharp DWSIM.UnitOperations DWSIM.FlowsheetSolver|"
  "DWSIM.Automation|DWSIM.Interfaces DWSIM.GlobalSettings DWSIM.SharedClasses DWSIM.Thermodynamics DWSIM.UnitOperations DWSIM.FlowsheetBase DWSIM.FlowsheetSolver|"
)

# newer_than OUT FILES...: true when OUT is missing or any file is newer
newer_than() {
  local target="$1"; shift
  [ -e "$target" ] || return 0
  local f
  for f in "$@"; do [ "$f" -nt "$target" ] && return 0; done
  return 1
}

built=0
for entry in "${assemblies[@]}"; do
  IFS='|' read -r name refs extra <<<"$entry"
  srcdir="$here/src/$name"
  mapfile -t sources < <(find "$srcdir" -name '*.cs' | sort)
  [ "${#sources[@]}" -gt 0 ] || { echo "no sources for $name" >&2; exit 1; }
  refargs=(); deps=("${sources[@]}" "$here/build.sh")
  for r in $refs; do refargs+=("-r:$out/$r.dll"); deps+=("$out/$r.dll"); done
  # shellcheck disable=SC2206
  extraargs=($extra)
  for x in "${extraargs[@]}"; do
    case "$x" in -resource:*) f="${x#-resource:}"; deps+=("${f%%,*}");; esac
  done
  if newer_than "$out/$name.dll" "${deps[@]}"; then
    mcs "${MCS_FLAGS[@]}" -r:System.dll -r:System.Core.dll -r:System.Xml.dll -r:System.Xml.Linq.dll -r:System.IO.Compression.dll "${refargs[@]}" "${extraargs[@]}" \
        -out:"$out/$name.dll" "${sources[@]}"
    built=$((built + 1))
  fi
done

# A minimal assembly that exercises the pythonnet features the bridge depends on.
if newer_than "$probe_out/Probe.dll" "$here/probe/Probe.cs" "$here/build.sh"; then
  mcs "${MCS_FLAGS[@]}" -out:"$probe_out/Probe.dll" "$here/probe/Probe.cs"
  built=$((built + 1))
fi
echo "stand-in: $built assemblies rebuilt, output in $out"
