"""Nodes on one machine, until standard input ends; prints their address.

    cluster.py NODES CORES
"""

import sys

from ray.cluster_utils import Cluster

_OBJECT_STORE = 100 * 2**20


def main(nodes: str, cores: str) -> None:
    head = {"num_cpus": 0, "include_dashboard": False}
    cluster = Cluster(initialize_head=True, head_node_args=head)
    for _ in range(int(nodes)):
        cluster.add_node(num_cpus=int(cores), object_store_memory=_OBJECT_STORE)
    print(cluster.address, flush=True)
    sys.stdin.read()
    cluster.shutdown()


if __name__ == "__main__":
    main(*sys.argv[1:])
