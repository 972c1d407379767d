"""Makes of the results a table, a plot and a JSON file."""
import json
import re
import statistics

BEGIN, END = "<!-- results: begin -->", "<!-- results: end -->"
GREY, OURS, THEIRS = "#7d8590", "#2f81f7", "#9aa4af"  # legible on white and on black


def ratio(work, peer, figure):
    """Against ours of the same round, the median of all rounds."""
    ours = work["contenders"][0][figure]
    pairs = [theirs / own for theirs, own in zip(peer[figure], ours) if own > 0]
    return statistics.median(pairs) if pairs else 0


def number(value):
    return f"{value:.2f}" if value < 9.95 else f"{value:.0f}"


def size(count, unit):
    units = ["bytes", "KiB", "MiB", "GiB"]
    place = units.index(unit)
    while count >= 1024 and place < 3:
        count, place = count / 1024, place + 1
    return f"{count:.0f} {units[place]}" if count >= 10 or place == 0 else f"{count:.1f} {units[place]}"


def row(work, peer):
    first = peer is work["contenders"][0]
    if len(work["contenders"]) == 1:  # nothing to be beside
        times = [f"{statistics.median(peer[figure]) * 1000:.0f} ms" for figure in ("seconds", "cpu")]
    else:
        times = [number(ratio(work, peer, figure)) for figure in ("seconds", "cpu")]
    calls = f"{round(peer['calls']):,}"
    return " | ".join([
        f"**{work['title']}**, {work['places']}" if first else "", peer["who"],
        *times,
        ("at least " if peer.get("calls_at_least") else "") + calls,
        size(peer["written"], "bytes") if peer["written"] else "",
        f"{size(peer['memory_kib'], 'KiB')} {peer['memory']}"])


def table(results):
    lines = ["| Work | Who | Time | Processor | System calls | Written | Most memory |",
             "|---|---|--:|--:|--:|--:|--:|"]
    lines += [f"| {row(work, peer)} |" for work in results["works"] for peer in work["contenders"]]
    machine = results["machine"]
    return "\n".join([
        *lines, "", f"{results['rounds']} rounds on {machine['processor']}, {machine['cores']} cores; "
        f"load {machine['load']:.1f} before, {machine['load_at_end']:.1f} after."])


def plot(results, path):
    try:
        import matplotlib
    except ImportError:
        print("matplotlib is not installed: no plot")
        return
    matplotlib.use("svg")
    from matplotlib import pyplot
    matplotlib.rcParams.update({"svg.fonttype": "none", "svg.hashsalt": "bench", "font.size": 8,
                                "font.family": "sans-serif", "text.color": GREY,
                                "axes.edgecolor": GREY, "axes.labelcolor": GREY,
                                "xtick.color": GREY, "ytick.color": GREY})
    bars, titles, place = [], [], 0.0
    for work in results["works"]:
        titles.append((place, f"{work['title'].replace('`', '')}, {work['places']}"))
        for peer in work["contenders"]:
            place += 1
            bars.append((place, peer["who"].replace("`", ""), ratio(work, peer, "seconds"),
                         peer is work["contenders"][0]))
        place += 1.8
    places, names, values, own = zip(*bars)
    figure, axes = pyplot.subplots(figsize=(7.5, 0.145 * place + 0.5), layout="constrained")
    least = min(values) / 1.5
    axes.barh(places, [value - least for value in values], left=least, height=0.8,
              color=[OURS if ours else THEIRS for ours in own])
    for bar, value in zip(places, values):
        axes.text(value * 1.05, bar, number(value), va="center", fontsize=7)
    for title_place, title in titles:
        axes.text(least, title_place, " " + title, va="center", fontweight="bold")
    axes.set(xscale="log", xlim=(least, max(values) * 2), ylim=(place - 1, -1), yticks=places,
             yticklabels=names, xlabel="time beside ours (1.00); shorter bars are faster")
    axes.axvline(1, color=OURS, linewidth=0.6, alpha=0.4, zorder=0)
    axes.xaxis.set_major_formatter(lambda value, _: f"{value:g}")
    axes.spines[["top", "right"]].set_visible(False)
    axes.tick_params(axis="y", length=0)
    figure.savefig(path, transparent=True, metadata={"Date": None})


def write(results, folder, documents):
    """`documents` None: these are some works only, whose table goes beside the JSON file."""
    raw = folder / ("results.json" if documents else "results-filtered.json")
    raw.write_text(json.dumps(results, indent=1), encoding="utf-8")
    text = table(results)
    if documents is None:
        (folder / "results.md").write_text(text + "\n", encoding="utf-8")
        plot(results, folder / "results.svg")
    else:
        page = documents / "performance.md"
        before, _, after = re.split(f"({BEGIN}.*{END})", page.read_text(encoding="utf-8"),
                                    flags=re.DOTALL)
        page.write_text(f"{before}{BEGIN}\n{text}\n{END}{after}", encoding="utf-8")
        plot(results, documents / "performance.svg")
    print(text)
