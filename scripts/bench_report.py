#!/usr/bin/env python3
"""Runs benchmark binaries and writes their results into docs/benchmarks.md.

Each benchmark is named <operation>/<impl>/<size or file>. Our variants are the
impls starting with "lumdc-", every other impl is a peer. All binaries given run
one after another in this invocation, each with random interleaving and
repetitions; the tables quote medians, and each of our cells carries its ratio
to the best peer at the same operation and size, measured in the same binary run.

The section between <!-- begin NAME --> and <!-- end NAME --> is replaced (or
appended), so that every family keeps its own section in one document.

  scripts/bench_report.py --section checksums build/bench/bench_checksum
"""
import argparse
import json
import os
import re
import subprocess
import sys
import tempfile
from collections import OrderedDict
from datetime import date


def registration_order(binary, extra):
    """Benchmark names in the order the binary registered them."""
    out = subprocess.run([binary, "--benchmark_list_tests=true"] + extra, check=True, capture_output=True,
                         text=True).stdout
    return [line.strip() for line in out.splitlines() if line.strip()]


def run(binary, repetitions, min_time, extra):
    with tempfile.NamedTemporaryFile(suffix=".json", delete=False) as out:
        path = out.name
    cmd = [binary, f"--benchmark_repetitions={repetitions}", "--benchmark_enable_random_interleaving=true",
           "--benchmark_report_aggregates_only=true", f"--benchmark_min_time={min_time}",
           f"--benchmark_out={path}", "--benchmark_out_format=json"] + extra
    print("running:", " ".join(cmd), file=sys.stderr)
    subprocess.run(cmd, check=True, stdout=subprocess.DEVNULL)
    with open(path) as f:
        data = json.load(f)
    os.unlink(path)
    return data


def medians(data, order, field="bytes_per_second", scale=1e-9):
    """(operation, impl, size) -> median of `field` (throughput in GB/s by
    default), in registration order (random interleaving scrambles the output)."""
    found = {}
    for b in data["benchmarks"]:
        if b.get("aggregate_name") == "median" and field in b:
            found[b["run_name"]] = b[field] * scale
    result = OrderedDict()
    for name in order:
        if name in found:
            result[tuple(name.split("/", 2))] = found[name]
    return result


def ratio_tables(ratios):
    """Compressed size over original per operation, ours beside the peers."""
    ops = OrderedDict()
    for (op, impl, size), v in ratios.items():
        ops.setdefault(op, OrderedDict()).setdefault(impl, OrderedDict())[size] = v
    lines = []
    for op, impls in ops.items():
        sizes = list(OrderedDict.fromkeys(s for row in impls.values() for s in row))
        # Our variants write the same blocks; one row stands for them all.
        ours = [(impl, row) for impl, row in impls.items() if impl.startswith("lumdc-")][:1]
        peers = [(impl, row) for impl, row in impls.items() if not impl.startswith("lumdc-")]
        lines.append(f"#### {op}: compressed size / original")
        lines.append("")
        lines.append("| impl | " + " | ".join(sizes) + " |")
        lines.append("|---|" + "---:|" * len(sizes))
        for impl, row in ours + peers:
            cells = []
            for s in sizes:
                if s not in row:
                    cells.append("")
                    continue
                cell = f"{row[s]:.4f}"
                if impl.startswith("lumdc-") and peers and s in peers[0][1] and peers[0][1][s] > 0:
                    cell += f" ({100.0 * (row[s] / peers[0][1][s] - 1):+.2f}%)"
                cells.append(cell)
            lines.append(f"| {'lumdc' if impl.startswith('lumdc-') else impl} | " + " | ".join(cells) + " |")
        lines.append("")
    return lines


def tables(result, repetitions):
    ops = OrderedDict()
    for (op, impl, size), v in result.items():
        ops.setdefault(op, OrderedDict()).setdefault(impl, OrderedDict())[size] = v
    lines = []
    for op, impls in ops.items():
        sizes = list(OrderedDict.fromkeys(s for row in impls.values() for s in row))
        impls = OrderedDict(sorted(impls.items(), key=lambda kv: not kv[0].startswith("lumdc-")))
        best_peer = {}
        for s in sizes:
            peers = [(row[s], impl) for impl, row in impls.items() if not impl.startswith("lumdc-") and s in row]
            best_peer[s] = max(peers) if peers else None
        lines.append(f"#### {op}")
        lines.append("")
        lines.append(f"GB/s, median of {repetitions}; in parentheses our ratio to the best peer of the same run.")
        lines.append("")
        lines.append("| impl | " + " | ".join(sizes) + " |")
        lines.append("|---|" + "---:|" * len(sizes))
        for impl, row in impls.items():
            cells = []
            for s in sizes:
                if s not in row:
                    cells.append("")
                    continue
                cell = f"{row[s]:.3g}"
                if impl.startswith("lumdc-") and best_peer[s]:
                    cell += f" ({row[s] / best_peer[s][0]:.2f}x)"
                elif best_peer[s] and best_peer[s][1] == impl:
                    cell = f"**{cell}**"
                cells.append(cell)
            lines.append(f"| {impl} | " + " | ".join(cells) + " |")
        lines.append("")
    return lines


# The instruction sets the kernels choose by, as `lumdc sum` names them: the
# tables say what the machine could run, never whose processor it was.
AVX512_SUBSETS = [("avx512f", "F"), ("avx512cd", "CD"), ("avx512bw", "BW"), ("avx512dq", "DQ"), ("avx512vl", "VL"),
                  ("avx512vbmi", "VBMI"), ("avx512_vbmi2", "VBMI2"), ("avx512_vnni", "VNNI"),
                  ("avx512_bitalg", "BITALG"), ("avx512_vpopcntdq", "VPOPCNTDQ")]


def instruction_sets():
    try:
        with open("/proc/cpuinfo") as f:
            flags = set(next(l.split(":", 1)[1].split() for l in f if l.startswith("flags")))
    except (OSError, StopIteration):
        return "instruction sets unknown"
    parts = []
    subsets = [name for flag, name in AVX512_SUBSETS if flag in flags]
    if subsets:
        parts.append("AVX-512 " + "/".join(subsets))
    elif "avx2" in flags:
        parts.append("AVX2")
    parts += [name for flag, name in [("vpclmulqdq", "VPCLMULQDQ"), ("gfni", "GFNI"), ("bmi2", "BMI2")] if flag in flags]
    return ", ".join(parts)


def machine(context):
    cpu = instruction_sets()
    compiler = "unknown"
    try:
        compiler = subprocess.run(["c++", "--version"], capture_output=True, text=True).stdout.splitlines()[0]
    except (OSError, IndexError):
        pass
    commit = subprocess.run(["git", "rev-parse", "--short", "HEAD"], capture_output=True, text=True).stdout.strip()
    dirty = subprocess.run(["git", "status", "--porcelain", "--untracked-files=no", "--", ".", ":!docs"], capture_output=True,
                           text=True).stdout.strip()
    caches = ", ".join(f"L{c['level']} {c['type'][0].lower()} {c['size'] // 1024} KiB"
                       for c in context.get("caches", []))
    caches = caches or "caches not reported"
    return (f"{cpu}; {context.get('num_cpus')} cores at {context.get('mhz_per_cpu')} MHz ({caches}); "
            f"{compiler}; commit {commit}{' (modified)' if dirty else ''}; {date.today().isoformat()}")


def replace_section(path, name, body):
    begin, end = f"<!-- begin {name} -->", f"<!-- end {name} -->"
    block = begin + "\n" + body.rstrip() + "\n" + end
    text = open(path).read() if os.path.exists(path) else "# Benchmarks\n"
    if begin in text and end in text:
        text = re.sub(re.escape(begin) + r".*?" + re.escape(end), lambda _: block, text, flags=re.S)
    else:
        text = text.rstrip() + "\n\n" + block + "\n"
    with open(path, "w") as f:
        f.write(text)


def main():
    ap = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    ap.add_argument("binaries", nargs="+")
    ap.add_argument("--section", required=True)
    ap.add_argument("--title", default=None)
    ap.add_argument("--out", default="docs/benchmarks.md")
    ap.add_argument("--repetitions", type=int, default=9)
    ap.add_argument("--min-time", default="0.1")
    ap.add_argument("--filter", default=None)
    args = ap.parse_args()

    body = [f"### {args.title or args.section}", ""]
    for binary in args.binaries:
        extra = [f"--benchmark_filter={args.filter}"] if args.filter else []
        order = registration_order(binary, extra)
        data = run(binary, args.repetitions, args.min_time, extra)
        body.append(f"`{os.path.basename(binary)}` on {machine(data.get('context', {}))}.")
        body.append("")
        body += tables(medians(data, order), args.repetitions)
        ratios = medians(data, order, "ratio", 1.0)
        if ratios:
            body.append("Compressed sizes (ours beside the peer, in parentheses our difference):")
            body.append("")
            body += ratio_tables(ratios)
    replace_section(args.out, args.section, "\n".join(body))
    print(f"wrote section '{args.section}' of {args.out}", file=sys.stderr)


if __name__ == "__main__":
    main()
