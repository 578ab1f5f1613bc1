"""What `norvik collect` and `norvik logs --html` make, as programs of others read it.

    support_bundle.py bundle|page FOLDER-OF-THE-PROGRAMS

Exit code 77: skipped, there is no browser.
"""
import html.parser, os, re, shutil, socket, subprocess, sys, tempfile, time, zipfile

LIMIT = 60  # seconds, of every wait
mode, programs = sys.argv[1:]
folder = tempfile.mkdtemp(prefix="norviklib-bundle-")
logs = os.path.join(folder, "Logs")
environment = dict(os.environ, NORVIKLIB_ROOT="Z:" + folder.replace("/", "\\"))


def check(condition, what):
    if not condition:
        raise SystemExit("FAILED: %s" % what)


def command(name, *words):
    return ["wine", os.path.join(programs, name), *words]


def norvik(*words):
    done = subprocess.run(command("norvik.exe", *words), env=environment, stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, timeout=LIMIT)
    check(done.returncode == 0, "norvik %s: %s" % (words, done.stdout))


def registry(*words):
    subprocess.run(["wine", "reg", words[0], "HKLM\\Software\\NorvikLib", "/v", "SupportBundleTest", "/f", *words[1:]],
                   check=True, timeout=LIMIT, stdout=subprocess.DEVNULL)


def windows(name):
    return environment["NORVIKLIB_ROOT"] + "\\" + name


def write(name, lines):
    begun = int(time.time()) - 3600 + int(re.search("#(\\d+)", name)[1])
    with open(os.path.join(logs, name), "wb") as file:
        file.write(b"".join(b"%d.%03d %s\r\n" % (begun + i // 1000, i % 1000, line) for i, line in enumerate(lines)))


def bundle(name, *words):
    norvik("collect", windows(name), *words)
    with zipfile.ZipFile(os.path.join(folder, name)) as archive:
        check(archive.testzip() is None, "damaged: %s" % archive.testzip())
        for info in archive.infolist():
            check(abs(time.mktime((*info.date_time, 0, 0, -1)) - time.time()) < 7200, "%s has its time" % info.filename)
        return {info.filename: archive.read(info) for info in archive.infolist()}


# What a text of the bundle tells when its verb worked.
TELLING = {
    "runs": rb"\n +7 +1 +\d+ +3 .* (hall\.local|host-\d+)\n",
    "failures": rb" 2 +2 +failure .* A\.cpp\(5\) +Fan < 7\n",
    "board": rb"\nBoard  ",
    "machine": rb"\nMemory  .* GB, ", "displays": rb"^Displays of this machine", "toggles": rb"\* .* CueTimeline +1 +0 ",
    "discovery": rb"^Service discovery: \w+", "registry": rb"\n  SupportBundleTest = type 7, .*\\x5Cx\\x00",
    "versions": rb"^NorvikLib version (\d+\.\d+\.\d+)\n(?s:.*)\nNorvikLib\.dll\n  version \1\.",
}


def check_contents(files):
    for name, telling in TELLING.items():
        text = files[name + ".txt"]
        check(re.search(telling, text), "%s: %s" % (name, text))
        result = re.search(rb"--- (result 1|gave no answer.*|ended with code.*) ---", text)
        check(not result or (result[1] == b"result 1" and name in ("discovery", "machine")), "%s: %s" % (name, text))
        shortened = b"--- shortened to 20000 lines of 4096 bytes ---" in text
        check(shortened == (name == "failures"), "of a line of 5,000 bytes is said that it is cut: " + name)
    check(files["settings/ft.dat"] == b"CueTimeline:1\n", "the toggles' file")
    check(files["settings/Log Settings.ini"].startswith(b"[Subsystem Logging]\r\n"), "the logs' settings")


def check_bundles():
    host = socket.gethostname().split(".")[0].encode()
    secrets = [b"10.20.30.40", b"fe80::1234", b"00-1A-2B-33-44-55", b"hall", b"10.20.30.41"]
    for run in range(1, 8):
        write("Run #%d M\u00fcsic - 01.log" % run, [b"start", b"from 10.20.30.40, fe80::1234, 00-1A-2B-33-44-55"])
    write("Run #7 Net - 01.log", [b"on " + host + b", version 1.2.3.4", b"hall.local", b"hall at 10.20.30.41, 10.20.30.40"])
    report = b"REPORT >>> Failure! Nov 21 2026 @ 18:59:23 'Fan < 7' failed in A.cpp(5)."
    write("Run #7 hall.local - 01.log", [report, report, report.replace(b"Fan", b"x" * 5000).replace(b"5)", b"6)")])
    os.mkdir(os.path.join(folder, "AutoSave"))
    for name, text in {"AutoSave/ft.dat": b"CueTimeline:1\n",
                       "Logs/Log Settings.ini": b"[Subsystem Logging]\r\nTo 10.20.30.40=off\r\n"}.items():
        with open(os.path.join(folder, name), "wb") as file:
            file.write(text)
    with open(os.path.join(logs, "App 2026-11-21 18.59.29 32-1.dmp"), "wb") as dump:
        dump.write(os.urandom(100000))
    with open(os.path.join(logs, "App 2026-11-21 18.59.28 32-1.dmp"), "wb") as dump:
        dump.truncate(40 << 20)

    # A program that writes its log, and goes on.
    writer = subprocess.Popen(command("LogChild.exe", "flood"), env=environment)
    try:
        registry("add", "/t", "REG_MULTI_SZ", "/d", r"\\10.20.30.41\x\0hall\0fe80::1234\0\\%s" % host.decode())
        live = os.path.join(logs, "Run #1 LogChild - 01.log")
        end = time.monotonic() + LIMIT
        while not os.path.exists(live) or os.path.getsize(live) < 500000:
            check(time.monotonic() < end and writer.poll() is None, "the writer writes")
            os.sched_yield()
        whole = bundle("whole.zip", "--runs", "4")
        masked = bundle("masked.zip", "--mask")
    finally:
        writer.terminate()
        writer.wait()
        registry("delete")

    index = whole["INDEX.txt"].decode("utf-8", "replace")
    check(all(name in index for name in whole if name != "INDEX.txt" and "M\u00fcsic" not in name), "the index names all")
    check(len(whole["logs/Run #1 LogChild - 01.log"]) >= 500000, "the log that is being written")
    check(sum("M\u00fcsic" in name for name in whole) == 4, "as many runs as asked for, and names in UTF-8")
    check("of an older run" in index and re.search(r"18.59.28 32-1.dmp \| 41943040 bytes \| too large", index), "left out")
    check(len(whole["dumps/App 2026-11-21 18.59.29 32-1.dmp"]) == 100000, "the dump")
    check_contents(whole)
    check_contents(masked)

    check(not any(name.startswith("dumps/") for name in masked), "no memory in a masked bundle")
    for name, text in masked.items():
        for secret in secrets + [host]:
            # Behind the beginning of a word or what a byte is shown as that cannot be printed.
            bare = rb"(?i)(?:(?<![\w-])|(?<=\\x[0-9A-F]{2}))" + re.escape(secret) + rb"(?![\w-])"
            check(not re.search(bare, name.encode() + b"\n" + text), "%s in %s" % (secret, name))
    net = masked["logs/Run #7 Net - 01.log"].decode()
    words = re.fullmatch(r"(?s).*on (host-\d+), version 1\.2\.3\.4\r\n.* (host-\d+)\r\n.* (host-\d+) at (ip-\d+), (ip-\d+)\r\n",
                         net)
    check(words and words[2] == words[3] != words[1] and words[4] != words[5], net)
    other = next(text for name, text in masked.items() if "M\u00fcsic" in name).decode()
    check("from %s, " % words[5] in other, "one address is one word in all files: %s" % other)
    if shutil.which("unzip"):
        subprocess.run(["unzip", "-tqq", os.path.join(folder, "whole.zip")], check=True)


def look(browser, page):
    done = subprocess.run([browser, "--headless", "--no-sandbox", "--disable-gpu", "--virtual-time-budget=20000",
                           "--user-data-dir=" + os.path.join(folder, "browser"), "--dump-dom",
                           "file://" + os.path.join(folder, page)],
                          stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, timeout=LIMIT)
    dom = done.stdout.decode("utf-8")
    found = {}
    for element in ("main", "body"):
        tag = re.search("<%s[^>]*>" % element, dom)
        check(tag, "the page has a %s: %s" % (element, dom[:2000]))
        found.update(("%s %s" % (element, key), int(value)) for key, value in re.findall(r'data-([a-z-]+)="(\d+)"', tag[0]))
    return found, dom


class Addresses(html.parser.HTMLParser):
    """What a page takes from elsewhere, or leads to."""

    def __init__(self, page):
        super().__init__()
        self.found, self.tag = [], ""
        self.feed(page)

    def handle_starttag(self, tag, attributes):
        self.tag = "" if ("type", "application/json") in attributes else tag
        for key, value in attributes:
            if key in ("src", "srcset", "data", "action", "poster", "background") or "url(" in (value or "") or (
                    key.endswith("href") and not value.startswith("#")):
                self.found.append((tag, key, value))

    def handle_data(self, text):
        if self.tag in ("script", "style"):
            self.found += re.findall(r"url\(|@import|\bimport\b|fetch\(|XMLHttpRequest|WebSocket|sendBeacon|\.src\b|\.href\b", text)


def check_timeline(dom, records, failures):
    drawn = re.search(r'(?s)<div id="timeline">(.*?)</section>', dom)[1]
    bars = {name: [float(height) for height in re.findall('class="%s"[^>]* height="([0-9.]+)"' % name, drawn)]
            for name in ("bar", "bad", "slow")}
    check(len(bars["slow"]) == 1, "the blocked loop's bar: %s" % bars["slow"])
    told = re.findall(r": (\d+) records(?:, (\d+) failures)?</title>", drawn)
    check(sum(int(count) for count, _ in told) == records, "all records are in the time line: %s" % told)
    check(sum(int(count or 0) for _, count in told) == failures, "its failures: %s" % told)
    for name, count in (("bar", len(told)), ("bad", sum(bad != "" for _, bad in told))):
        check(sum(height >= 3 for height in bars[name]) == count, "bars of %s: %s" % (name, bars[name]))
    check(drawn.count("<span") >= 5, "its axis")


def check_page():
    browser = next(filter(None, map(shutil.which, ("chromium-headless-shell", "chromium", "google-chrome"))), None)
    if not browser:
        print("skipped: there is no browser (chromium-headless-shell)")
        sys.exit(77)
    evil = b"</script><img src=x onerror=\"document.body.dataset.evil=1\"> & <!-- \x00 \xff\xfe"
    report = b"REPORT >>> Failure! Nov 21 2026 @ 18:59:23 " + evil + b" in A.cpp(5)."
    loop = [b"ELW: Handler <b>Loader</b> is currently blocking event loop. Event loop thread ID is 2.", b"  #00 A.exe+0x1  f()",
            b"  Stack: A.exe 0x140000001", b"Event handler <b>Loader</b> has blocked event loop for 2345 milliseconds."]
    write("Run #1 App - 01.log", [b"start", report, evil, b"REPORT >>> Warning! Fan 3: 7 rpm"] + loop + [report] +
          [b"line %d" % i for i in range(150000)])
    norvik("logs", "--html", windows("page.html"))
    found, dom = look(browser, "page.html")
    check("body evil" not in found and "<img" not in dom, "nothing in a log is run or shown as an element")
    for key, value in {"main lines": 150009, "body lines": 150009, "main failures": 3, "body failures": 3, "main places": 2,
                       "main blocked": 1, "body blocked": 1, "main files": 1}.items():
        check(found.get(key) == value, "%s: %s is not %s" % (key, found.get(key), value))
    check(found["body elements"] < 3000, "few elements for many lines: %s" % found)
    print("150,009 lines: shown after %s ms, %s elements" % (found["body milliseconds"], found["body elements"]))
    check_timeline(dom, 150009, 3)
    check(not Addresses(dom).found, "from elsewhere: %s" % Addresses(dom).found)
    check("<b>&lt;b&gt;Loader&lt;/b&gt;</b>" in dom, "the handler's name is text")
    check("2345 ms" in dom and "#00 A.exe+0x1" in dom, "the blocked loop and its stack")
    for query, matches in {"#find=LINE%2014999": 11, "#find=/^line%20\\d{2}$/": 90,
                           "#find=a.cpp(5)&which=FW": 2}.items():
        check(look(browser, "page.html" + query)[0].get("body matches") == matches, query)


try:
    os.mkdir(logs)
    {"bundle": check_bundles, "page": check_page}[mode]()
finally:
    shutil.rmtree(folder, ignore_errors=True)
