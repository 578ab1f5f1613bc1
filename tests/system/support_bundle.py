"""What `norvik collect` and `norvik logs --html` make, as programs of others read it.

    support_bundle.py bundle|page FOLDER-OF-THE-PROGRAMS

Exit code 77: skipped, there is no browser.
"""
import os, re, shutil, socket, subprocess, sys, tempfile, time, zipfile

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


def windows(name):
    return environment["NORVIKLIB_ROOT"] + "\\" + name


def write(name, lines):
    begun = 1795287000 + int(re.search("#(\\d+)", name)[1])
    with open(os.path.join(logs, name), "wb") as file:
        file.write(b"".join(b"%d.%03d %s\r\n" % (begun + i // 1000, i % 1000, line) for i, line in enumerate(lines)))


def bundle(name, *words):
    norvik("collect", windows(name), *words)
    with zipfile.ZipFile(os.path.join(folder, name)) as archive:
        check(archive.testzip() is None, "damaged: %s" % archive.testzip())
        check(all(info.date_time[0] >= 2026 for info in archive.infolist()), "files have their times")
        return {info.filename: archive.read(info) for info in archive.infolist()}


def check_bundles():
    host = socket.gethostname().split(".")[0].encode()
    secrets = [b"10.20.30.40", b"fe80::1234", b"00-1A-2B-33-44-55", b"hall", b"10.20.30.41"]
    for run in range(1, 8):
        write("Run #%d M\u00fcsic - 01.log" % run, [b"start", b"from 10.20.30.40, fe80::1234, 00-1A-2B-33-44-55"])
    write("Run #7 Net - 01.log", [b"on " + host + b", version 1.2.3.4", b"hall.local", b"hall at 10.20.30.41, 10.20.30.40"])
    with open(os.path.join(logs, "App 2026-11-21 18.59.29 32-1.dmp"), "wb") as dump:
        dump.write(os.urandom(100000))
    with open(os.path.join(logs, "App 2026-11-21 18.59.28 32-1.dmp"), "wb") as dump:
        dump.truncate(40 << 20)

    # A program that writes its log, and goes on.
    writer = subprocess.Popen(command("LogChild.exe", "flood"), env=environment)
    try:
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

    index = whole["INDEX.txt"].decode("utf-8", "replace")
    check(all(name in index for name in whole if name != "INDEX.txt" and "M\u00fcsic" not in name), "the index names all")
    check(len(whole["logs/Run #1 LogChild - 01.log"]) >= 500000, "the log that is being written")
    check(sum("M\u00fcsic" in name for name in whole) == 4, "as many runs as asked for, and names in UTF-8")
    check("of an older run" in index and re.search(r"18.59.28 32-1.dmp \| 41943040 bytes \| too large", index), "left out")
    check(len(whole["dumps/App 2026-11-21 18.59.29 32-1.dmp"]) == 100000, "the dump")
    for text in ("failures", "board", "toggles", "discovery", "registry", "versions", "runs"):
        check(len(whole[text + ".txt"]) > 20, text)
    check(b"--- gave no answer" not in b"".join(whole.values()), "all verbs answered")

    check(not any(name.startswith("dumps/") for name in masked), "no memory in a masked bundle")
    for name, text in masked.items():
        for secret in secrets + [host]:
            check(not re.search(rb"(?<![\w-])" + re.escape(secret) + rb"(?![\w-])", text), "%s in %s" % (secret, name))
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
    check("2345 ms" in dom and "#00 A.exe+0x1" in dom, "the blocked loop and its stack")
    for query, matches in {"#find=LINE%2014999": 11, "#find=/^line%20\\d{2}$/": 90,
                           "#find=a.cpp(5)&which=FW": 2}.items():
        check(look(browser, "page.html" + query)[0].get("body matches") == matches, query)


try:
    os.mkdir(logs)
    {"bundle": check_bundles, "page": check_page}[mode]()
finally:
    shutil.rmtree(folder, ignore_errors=True)
