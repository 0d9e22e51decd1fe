"""The Python package in several threads; what else it does is in the transcripts."""

import threading

import pmstore


def test_threads_take_turns(tmp_path):
    with pmstore.Vault(tmp_path / "a.db") as vault, pmstore.Vault(tmp_path / "b.db") as other:
        def add(to):
            with to.transaction():
                for number in range(50):
                    to.add(1, str(number), b"%d" % number)
        threads = [threading.Thread(target=add, args=[each]) for each in (vault, other)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        assert list(vault.kind(1).values()) == list(other.kind(1).values()) == [b"%d" % number for number in range(50)]
