# SPDX-License-Identifier: Apache-2.0
"""Averages the weights of several states of one training.

    average_networks.py --out FILE.npz STATE.npz [STATE.npz...]

States that one has become from another by further training lie in one valley: their mean lies lower than each of them. Weights that are held in a range
each, or in sum, stay there in the mean. Kind and scaling have to be the same.
"""

import argparse

import numpy as np

NOT_WEIGHTS = ("kind", "sample_rate", "mean", "inv_std", "prior")


def average(states):
    first = states[0]
    for state in states[1:]:
        if any(not np.array_equal(state[name], first[name]) for name in ("kind", "sample_rate", "mean", "inv_std") if name in first):
            raise SystemExit("states of different networks")
    return {name: first[name] if name in NOT_WEIGHTS else np.mean([state[name] for state in states], axis=0, dtype=np.float64).astype(np.float32)
            for name in first}


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--out", required=True)
    parser.add_argument("states", nargs="+")
    args = parser.parse_args()
    np.savez(args.out, **average([dict(np.load(path)) for path in args.states]))


if __name__ == "__main__":
    main()
