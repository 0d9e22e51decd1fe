#!/usr/bin/env python3
"""Breaks vaults in many ways and does what the tool's own messages say: broken.py PMSTORE REPORT [SEED...]

What stands intact in the files, or is provable, has to come back; what comes back otherwise has to be called doubtful;
and no vault that has lost something may be called sound."""
import base64, itertools, json, os, random, re, shlex, subprocess, sys, tempfile

BLOCK, ZEROS = 1024, bytes(1024)
TOOL, REPORT = sys.argv[1:3]
NAME = "v.pm"


def run(*words, codes=(0,)):
    done = subprocess.run([TOOL, *words], capture_output=True, text=True)
    assert done.returncode in codes, (words, done.returncode, done.stdout, done.stderr)
    return done


def make(name, rng, first_id=1):
    """A vault of items of all sizes; what it holds, by ID."""
    items = {first_id + i: (f"item {i}", rng.randbytes(size + rng.randrange(1, 9) * (size > 1000)))
             for i, size in enumerate([3, 60, 300, 492, 700, 1000, 1500, 2500, 3999] * 2)}
    lines = [json.dumps({"id": hex(i), "kind": 1, "name": n, "data": base64.b64encode(d).decode()})
             for i, (n, d) in items.items()]
    open("lines", "w").write("\n".join(lines))
    run("import", "--quiet", name, "--jsonl", "lines")
    return items


def read(name):
    return bytearray(open(name, "rb").read()) if os.path.exists(name) else bytearray()


def write(data, name=NAME):
    open(name, "wb").write(data)


def held(name):
    lines = run("export", "--quiet", name, "--jsonl", "-", codes=(0, 1)).stdout.splitlines()
    return {int(j["id"], 16): (j.get("name"), base64.b64decode(j["data"])) for j in map(json.loads, lines)}


def of_id(data, wanted):
    """The numbers of the blocks whose item ID fits."""
    return [b for b in range(len(data) // BLOCK) if wanted(int.from_bytes(data[b * BLOCK + 12:b * BLOCK + 16], "little"))]


def strike(change):
    """A way of breaking that overwrites bytes: `change` gets the file's bytes and the drawing."""
    def break_it(rng, items):
        data = read(NAME)
        write(change(data, rng) or data)
    return break_it


def put(data, at, new):
    data[at:at + len(new)] = new


def any_block(data, rng, last=1000):
    return rng.choice(of_id(data, lambda i: 0 < i <= last)) * BLOCK


def swap(data, rng):
    a, b = (any_block(data, rng) for _ in "ab")
    data[a:a + BLOCK], data[b:b + BLOCK] = data[b:b + BLOCK], data[a:a + BLOCK]


def flip(data, at, rng):
    data[at] ^= 1 << rng.randrange(8)


def flip_data(data, rng):
    at = any_block(data, rng)
    flip(data, at + 16 + rng.randrange(data[at + 4] + 256 * data[at + 5]), rng)


def splice(data, rng):
    at, length = rng.randrange(len(data)), rng.randrange(1, 3000)
    return data[:at] + (rng.randbytes(length) + data[at:] if rng.random() < .5 else data[at + length:])


def beside(make_backup, change=lambda data, rng: None):
    def break_it(rng, items):
        backup = make_backup(rng, items)
        strike(change)(rng, items)
        write(backup, f".{NAME}.bak")
    return break_it


def foreign(rng, items):
    make("other.pm", rng, first_id=100)
    return read("other.pm")


def older(rng, items):
    data = read(NAME)
    run("put", "--quiet", NAME, "later", "lines")
    items.update(held(NAME))
    return data


def killed(take_back, and_then=lambda rng: None):
    """A program is killed; `take_back` says which of its blocks never reached the file, `and_then` what comes then."""
    def break_it(rng, items):
        before = read(NAME)
        subprocess.run([REPORT, NAME, "list", "stored before the kill"], check=True)
        items.update(held(NAME))
        after = read(NAME)
        for b in filter(lambda b: take_back(rng), range(len(before) // BLOCK)):
            put(after, b * BLOCK, before[b * BLOCK:(b + 1) * BLOCK])
        write(after)
        and_then(rng)
    return break_it


def strange_journal(rng, items):
    make("other.pm", rng, first_id=100)
    subprocess.run([REPORT, "other.pm", "list", "late"], check=True)
    os.rename(".other.pm.pmj", f".{NAME}.pmj")


# name: how, and whether all can be proven whatever stands intact
KINDS = {
    "cut between blocks": (strike(lambda d, r: d[:r.randrange(1, len(d) // BLOCK) * BLOCK]), False),
    "cut in a block": (strike(lambda d, r: d[:r.randrange(BLOCK, len(d))]), False),
    "a page zeroed": (strike(lambda d, r: put(d, r.randrange(0, len(d) // 4096) * 4096, ZEROS * 4)), False),
    "the table zeroed": (strike(lambda d, r: put(d, 0, ZEROS)), False),
    "the table's begin zeroed": (strike(lambda d, r: put(d, 0, bytes(r.randrange(1, 40)))), False),
    "a bit of data flipped": (strike(flip_data), False),
    "a bit of a small item flipped": (strike(lambda d, r: flip(d, any_block(d, r, 3) + r.randrange(0, 19), r)), True),
    "a bit of an ID flipped": (strike(lambda d, r: flip(d, any_block(d, r) + r.randrange(12, 16), r)), True),
    "a checksum overwritten": (strike(lambda d, r: put(d, any_block(d, r, 3) + 1016, b"\1\2\3\4")), True),
    "a small item overwritten": (strike(lambda d, r: put(d, any_block(d, r, 3) + r.randrange(300), r.randbytes(90))), True),
    "a block marked free": (strike(lambda d, r: put(d, any_block(d, r) + 1, b"\2")), True),
    "blocks swapped": (strike(swap), True),
    "a block written over another": (strike(lambda d, r: put(d, any_block(d, r), d[any_block(d, r):][:BLOCK])), False),
    "junk behind the end": (strike(lambda d, r: d + r.randbytes(r.randrange(1, 5000))), True),
    "half copied": (strike(lambda d, r: d[:len(d) // 2] + bytes(len(d) - len(d) // 2)), False),
    "an older backup": (beside(older), True),
    "the backup of another vault": (beside(foreign, lambda d, r: put(d, any_block(d, r), ZEROS)), False),
    "a good backup": (beside(lambda r, i: read(NAME), lambda d, r: put(d, r.randrange(len(d) // 2), r.randbytes(3000))), True),
    "the file gone": (lambda rng, items: os.rename(NAME, f".{NAME}.bak"), True),
    "killed, nothing written": (killed(lambda r: True), True),
    "killed, half written": (killed(lambda r: r.random() < .5), True),
    "killed, then cut": (killed(lambda r: False, lambda r: os.truncate(NAME, r.randrange(1, os.path.getsize(NAME) // BLOCK) * BLOCK)), False),
    "killed, the file gone": (killed(lambda r: False, lambda r: os.remove(NAME)), True),
    "killed, all but the journal gone": (killed(lambda r: False, lambda r: [os.remove(NAME), os.remove(f".{NAME}.bak")]), False),
    "the journal of another vault": (strange_journal, True),
    "bytes inserted or missing": (strike(splice), False),
}


def follow(name):
    """Does what `check` says; the vault that comes of it, and all that was said."""
    said = run("check", name, codes=(0, 1)).stdout
    advice = re.search(r'"pmstore ((?:salvage|restore) [^"]*)"', said.replace("\n", " "))
    if not advice or "COPY" in advice[1]:
        return name, said
    done = run(*shlex.split(advice[1].replace("NEW-VAULT", "new.pm")), codes=(0, 1))
    return "new.pm" if advice[1].startswith("salvage") else name, said + done.stdout + done.stderr


def try_kind(kind, seed):
    rng = random.Random(f"{kind} {seed}")
    items = make(NAME, rng)
    packets = {i: [bytes(read(NAME)[b * BLOCK:(b + 1) * BLOCK]) for b in of_id(read(NAME), i.__eq__)] for i in items}
    table = bytes(read(NAME)[:BLOCK])
    break_it, all_provable = KINDS[kind]
    break_it(rng, items)
    there = bytes(read(NAME) + read(f".{NAME}.bak") + read(f".{NAME}.pmj"))
    provable = {i for i in items if all_provable or all(p in there for p in packets.get(i, [items[i][1]]))}
    result, said = follow(NAME)
    got = held(result)
    for i in items:
        right = i in got and got[i][1] == items[i][1] and (table not in there or got[i][0] == items[i][0])
        assert right or i not in provable, f"0x{i:08X} did not come back"
        assert right or i not in got or re.search(rf"(doubtful|partial) +0x{i:08X}", said), f"0x{i:08X} is wrong"
    if provable != set(items):
        assert not re.search(rf"^{NAME}[^\n]*: sound", said, re.M), "called sound"
        run("--json", "check", NAME, codes=(1,))


def main():
    for seed, kind in itertools.product(sys.argv[3:] or range(4), KINDS):
        with tempfile.TemporaryDirectory() as folder:
            os.chdir(folder)
            try:
                try_kind(kind, seed)
            except Exception as failure:
                sys.exit(f"{kind}, seed {seed}: {failure!r}")


main()
