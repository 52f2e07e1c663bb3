#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""report.py FOLDER CEILINGS PEERS: makes table.md and plot.svg in the folder from the measurements that lie there, and
from the counts of other libraries' instructions that bench/count_peers.sh has left in the folder PEERS."""
import datetime
import os
import platform
import subprocess
import sys
from html import escape


def lines(path):
    with open(path) as file:
        return [line.rstrip("\n") for line in file if line.strip() and not line.startswith("#")]


def short(number):
    if number >= 1e6:
        return f"{number / 1e6:.2f} M"
    return f"{number:,.0f}" if number >= 100 else f"{number:.3g}"


def verdict(value, must, reach):
    """How a value stands to what was asked for; 0 stands for nothing."""
    if not must:
        return ""
    if value > must:
        return "**missed**"
    if reach and value > reach:
        return "within must, **reach missed**"
    return "reached" if reach else "within must"


def counted(peers, machine):
    """{row: [(contender, count for each unit)]}, libsec first, and who came to another result: [(row, contender)]"""
    rows, wrong, path = {}, [], os.path.join(peers, machine + ".txt")
    if not os.path.exists(path):
        return rows, wrong
    for line in lines(path):
        numbers, who = line.split("\t")
        count, units, name = numbers.split(" ", 2)
        rows.setdefault(name, []).append((who, int(count) / int(units)))
    with open(path) as file:
        wrong = [tuple(line.rstrip("\n").split("\t")[1:]) for line in file if line.startswith("# WRONG\t")]
    return rows, wrong


def instruction_rows(folder, ceilings, counts):
    """(name, count for each unit, must, reach, (best peer, its count) or None, ceiling)"""
    known = {}
    for line in lines(ceilings):
        ceiling, must, reach, name = line.split(None, 3)
        known[name] = [0 if field == "-" else float(field) for field in (must, reach, ceiling)]
    for line in lines(os.path.join(folder, "instructions.txt")):
        count, units, name = line.split(" ", 2)
        must, reach, ceiling = known[name]
        peers = counts.get(name, [])[1:]
        yield name, int(count) / int(units), must, reach, min(peers, key=lambda peer: peer[1], default=None), ceiling


def peer_rows(folder):
    """(name, must, reach, [(contender, median ns, least ns)], [wrong contenders]), libsec first"""
    rows = {}
    for line in lines(os.path.join(folder, "peers.tsv")):
        name, must, reach, who, median, least, right = line.split("\t")
        row = rows.setdefault(name, (name, float(must), float(reach), [], []))
        if right == "right":
            row[3].append((who, float(median), float(least)))
        else:
            row[4].append(who)
    return list(rows.values())


def best_peer(contenders):
    return min(contenders[1:], key=lambda contender: contender[1])


def instruction_table(rows):
    yield "| instructions on MIPS32r2 | libsec | best peer | must | reach | ceiling | |"
    yield "|---|---:|---:|---:|---:|---:|---|"
    for name, value, must, reach, peer, ceiling in rows:
        best = f"{short(peer[1])}, {peer[0]}" if peer else ""
        cells = [short(number) if number else "" for number in (must, reach, ceiling)]
        yield f"| {name} | {short(value)} | {best} | {' | '.join(cells)} | {verdict(value, must, reach)} |"


def counts_in_full(machine, counts):
    """Every contender of every row, the best peer first."""
    rows, wrong = counts
    if not rows:
        return
    yield f"| instructions on {machine} | libsec | ratio | peers |"
    yield "|---|---:|---:|---|"
    for name, [ours, *rest] in rows.items():
        rest = sorted(rest, key=lambda peer: peer[1])
        ratio = f"{ours[1] / rest[0][1]:.2f}" if rest else ""
        others = [f"{who}: {short(value)}" for who, value in rest]
        others += [f"**{who} came to another result**" for row, who in wrong if row == name]
        yield f"| {name} | {short(ours[1])} | {ratio} | {'; '.join(others)} |"


def peer_table(rows):
    yield "| time on this machine | libsec | best peer | ratio of medians | of minima | must | reach | |"
    yield "|---|---:|---:|---:|---:|---:|---:|---|"
    for name, must, reach, contenders, wrong in rows:
        if len(contenders) < 2:
            yield f"| {name} | | no peer | | | | | |"
            continue
        ours, peer = contenders[0], best_peer(contenders)
        ratio, least = ours[1] / peer[1], ours[2] / min(contender[2] for contender in contenders[1:])
        notes = verdict(ratio, must, reach) + "".join(f" **{who} came to another result**" for who in wrong)
        yield (f"| {name} | {ours[1] / 1000:.3g} us | {peer[1] / 1000:.3g} us, {peer[0]} | {ratio:.2f} | {least:.2f} "
               f"| {must or '':} | {reach or '':} | {notes} |")


def peers_in_full(rows):
    yield "| median, least (us) | contenders |"
    yield "|---|---|"
    for name, _, _, contenders, _ in rows:
        times = "; ".join(f"{who} {median / 1000:.3g}, {least / 1000:.3g}" for who, median, least in contenders)
        yield f"| {name} | {times} |"


def session_table(folder):
    yield ("| sessions over loopback | key exchange | login | round trip | a second | server's CPU: session | round trip "
           "| failures |")
    yield "|---|---:|---:|---:|---:|---:|---:|---:|"
    for line in lines(os.path.join(folder, "sessions.tsv")):
        name, exchange, login, trip, session, each, _, failures = line.split("\t")
        login = f"{float(login):.0f} us" if float(login) else ""
        yield (f"| {name} | {float(exchange):.0f} us | {login} | {float(trip):.1f} us | {1e6 / float(trip):,.0f} "
               f"| {float(session):.0f} us | {float(each):.1f} us | {failures} |")


def tunnel_table(folder):
    yield "| beside a direct session | direct round trip | added: median | 99 % within | 99 % of direct ones | failures |"
    yield "|---|---:|---:|---:|---:|---:|"
    for line in lines(os.path.join(folder, "tunnel.tsv")):
        name, direct, added, late, spread, _, failures = line.split("\t")
        numbers = " | ".join(f"{float(number):.0f} us" for number in (direct, added, late, spread))
        yield f"| {name} | {numbers} | {failures} |"


def processor():
    for line in lines("/proc/cpuinfo"):
        if line.startswith("model name"):
            return line.split(":", 1)[1].strip()
    return platform.machine()


def machine():
    compiler = subprocess.run(["g++", "-dumpfullversion"], capture_output=True, text=True, check=False).stdout.strip()
    load = os.getloadavg()[0]
    yield f"Measured on {datetime.date.today().isoformat()} by `script/bench`: {processor()}, {os.cpu_count()} processors,"
    yield f"Linux {platform.release()}, GCC {compiler}; load average {load:.1f} at the end."


def bars(instructions, emulated, peers):
    """(label, ratio to the best peer, must, reach), by panel"""
    yield "MIPS32r2, instructions", [(name, value / peer[1], must / peer[1], reach / peer[1])
                                     for name, value, must, reach, peer, _ in instructions if peer]
    yield "aarch64, instructions", [(name, ours[1] / best_peer([ours, *rest])[1], 0, 0)
                                    for name, [ours, *rest] in emulated.items() if rest]
    yield platform.machine() + ", time", [(name, ours[1] / best_peer([ours, *rest])[1], must, reach)
                                          for name, must, reach, [ours, *rest], _ in peers if rest]


def plot(panels):
    """Horizontal bars on a logarithmic scale; 1 is the best peer."""
    left, width, low, high, step = 370, 430, 0.03, 3.0, 22
    import math
    def at(ratio):
        return left + width * math.log(min(max(ratio, low), high) / low) / math.log(high / low)
    body, y = [], 58
    text = lambda x, line, what, more="": body.append(f'<text x="{x:.0f}" y="{line}"{more}>{escape(what)}</text>')
    tick = lambda x, line, colour: body.append(
        f'<path d="M{x:.1f} {line - 9}v18" stroke="{colour}" stroke-width="2"/>')
    for title, rows in panels:
        if not rows:
            continue
        text(12, y, title, ' font-weight="bold"')
        y += step
        for name, ratio, must, reach in rows:
            text(12, y, name)
            colour = "#b5432f" if must and ratio > must else "#3b6ea5"
            body.append(f'<rect x="{left}" y="{y - 11}" width="{at(ratio) - left:.1f}" height="14" fill="{colour}"/>')
            if must:
                tick(at(must), y - 4, "#000")
            if reach:
                tick(at(reach), y - 4, "#4a9d5b")
            text(left + width + 12, y, f"{ratio:.2f}")
            y += step
        y += 12
    one = at(1)
    body.append(f'<path d="M{one:.1f} 44V{y - 20}" stroke="#777" stroke-dasharray="4 3"/>')
    text(one, 38, "best peer = 1", ' text-anchor="middle"')
    text(12, 20, "libsec beside the best peer, lower is better; ticks: black must, green reach; logarithmic",
         ' font-weight="bold"')
    return (f'<svg xmlns="http://www.w3.org/2000/svg" width="860" height="{y}" font-family="sans-serif" font-size="12">\n'
            f'<rect width="100%" height="100%" fill="#fff"/>\n' + "\n".join(body) + "\n</svg>\n")


def main(folder, ceilings, peers):
    mips, aarch64, timed = counted(peers, "mips"), counted(peers, "aarch64"), peer_rows(folder)
    instructions = list(instruction_rows(folder, ceilings, mips[0]))
    parts = [machine(), instruction_table(instructions), peer_table(timed), session_table(folder), tunnel_table(folder),
             peers_in_full(timed), counts_in_full("MIPS32r2", mips),
             counts_in_full("aarch64, under emulation", aarch64)]
    with open(os.path.join(folder, "table.md"), "w") as file:
        file.write("\n\n".join(filter(None, ("\n".join(part) for part in parts))) + "\n")
    with open(os.path.join(folder, "plot.svg"), "w") as file:
        file.write(plot(bars(instructions, aarch64[0], timed)))


main(*sys.argv[1:])
