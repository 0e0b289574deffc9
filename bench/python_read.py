#!/usr/bin/python3
"""Reading a model into numpy arrays (brelononf.read_model) against `onf check` on the same file.

    /usr/bin/python3 bench/python_read.py [--build build-bench] [--nodes 1000000] [--runs 5]

Makes the model with the benchmarks' generator (onf_generate_model), then alternates the two
tasks: `onf check MODEL` as a child process, and read_model in this process (the package and
numpy imported beforehand; the arrays are dropped after each run). Prints the best wall time and
user CPU time of each and their ratios, read over check. The build folder needs the targets
onf, onf_generate_model and the Python package (a Release build, as bench/README.md has it).
"""

import argparse
import gc
import os
import resource
import subprocess
import sys
import tempfile
import time


def _user_seconds(who):
    return resource.getrusage(who).ru_utime


def _check(onf, model):
    wall, user = time.perf_counter(), _user_seconds(resource.RUSAGE_CHILDREN)
    subprocess.run([onf, "-q", "check", model], check=True, stdout=subprocess.DEVNULL)
    return time.perf_counter() - wall, _user_seconds(resource.RUSAGE_CHILDREN) - user


def _read(brelononf, model):
    wall, user = time.perf_counter(), _user_seconds(resource.RUSAGE_SELF)
    read = brelononf.read_model(model)
    elapsed = time.perf_counter() - wall, _user_seconds(resource.RUSAGE_SELF) - user
    del read
    gc.collect()
    return elapsed


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("--build", default="build-bench", help="the build folder")
    parser.add_argument("--nodes", type=int, default=1000000, help="nodes of the model")
    parser.add_argument("--runs", type=int, default=5, help="runs of each task")
    args = parser.parse_args()
    sys.path.insert(0, os.path.join(args.build, "python"))
    import brelononf

    with tempfile.TemporaryDirectory(dir=os.environ.get("ONF_BENCH_DIR")) as folder:
        model = os.path.join(folder, "model.onf")
        subprocess.run([os.path.join(args.build, "onf_generate_model"), str(args.nodes), model],
                       check=True, stdout=subprocess.DEVNULL)
        onf = os.path.join(args.build, "onf")
        times = {"onf check": [], "read_model": []}
        for _ in range(args.runs):
            times["onf check"].append(_check(onf, model))
            times["read_model"].append(_read(brelononf, model))
        size = os.path.getsize(model)
    best = {task: (min(w for w, _ in runs), min(u for _, u in runs))
            for task, runs in times.items()}
    print("model: %d nodes, %d bytes; best of %d runs" % (args.nodes, size, args.runs))
    for task, (wall, user) in best.items():
        print("%-12s wall %7.0f ms   user CPU %7.0f ms" % (task, wall * 1e3, user * 1e3))
    check, read = best["onf check"], best["read_model"]
    print("read_model over onf check: wall %.2f, user CPU %.2f (target 1.5)"
          % (read[0] / check[0], read[1] / check[1]))


if __name__ == "__main__":
    main()
