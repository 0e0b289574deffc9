"""python3 -m brelononf: conversions between ONF models and the formats meshio knows."""

import argparse
import logging
import sys

_USAGE = """Converts between ONF model files and every format meshio reads and writes, keeping
ids and groups where the target can hold them: ids as the node and element numbers of an
Abaqus file and as "onf:id" data elsewhere, groups as sets where the format has them and as
"onf:group:<name>" data. Formats go by extension (".msh" is Gmsh) unless --from or --to name
them. An ONF model brings the groups it holds, those of --groups and the fields of --results
(the last design iteration, or each with --all-iterations)."""


def _parser():
    parser = argparse.ArgumentParser(prog="python3 -m brelononf")
    commands = parser.add_subparsers(dest="command", required=True)
    convert = commands.add_parser("convert", help="convert a model or mesh", description=_USAGE)
    convert.add_argument("source", help="the file to read")
    convert.add_argument("target", help="the file to write")
    convert.add_argument("--groups", help="an ONF groups file whose groups the model takes")
    convert.add_argument("--results", help="an ONF optimisation result file of the model")
    convert.add_argument("--all-iterations", action="store_true",
                         help="every design iteration of the results, not only the last")
    convert.add_argument("--from", dest="source_format", help="the meshio format of SOURCE")
    convert.add_argument("--to", dest="target_format", help="the meshio format of TARGET")
    convert.add_argument("-q", "--quiet", action="store_true", help="report failures only")
    return parser


def main(argv=None):
    args = _parser().parse_args(argv)
    logging.basicConfig(format="brelononf: %(levelname)s: %(message)s",
                        level=logging.ERROR if args.quiet else logging.WARNING)
    from ._convert import convert
    try:
        convert(args.source, args.target, args.groups, args.results, args.source_format,
                args.target_format, "all" if args.all_iterations else "last")
    except Exception as failure:  # the engine's, meshio's and the file system's failures
        print("brelononf convert: error: %s" % failure, file=sys.stderr)
        return 2
    return 0


if __name__ == "__main__":
    sys.exit(main())
