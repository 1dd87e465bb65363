#!/usr/bin/env python3
"""Makes docs/pictures/page.png: tarn-serve's page with some calls, as a browser shows it. Needs chromium.

usage: page_picture.py BUILD_DIR OUTPUT [light|dark]
"""
import base64
import json
import pathlib
import random
import shutil
import subprocess
import sys
import tempfile

from browser import Browser

METHODS = ("sendClassifierTemplate", "sendPolicyNode", "sendRuleMac", "match_vlan_oper", "match_pri_oper",
           "act_car_oper", "act_filter_oper", "qos_group_port")
OPTIONS = ("--status", "act_car_oper=7", "--delay", "match_vlan_oper=40", "--delay", "qos_group_port=600000")
CHOSEN = "[...document.querySelectorAll('#rows tbody tr')].find((row) => row.textContent.includes('sendRuleMac'))"


def requests():
    random.seed(4)
    lines = [{"method": random.choice(METHODS[:-1]), "request": {}} for _ in range(32)]
    for line in lines:
        if line["method"] == "sendRuleMac":
            line["request"] = {"head": {"f0": 1}, "f1": [0, 17, 34, 51, 68, 85], "f3": random.randrange(1, 64)}
    return "".join(json.dumps(line) + "\n" for line in lines)


def picture(programs, folder, scheme):
    target = f"unix:{folder}/socket"
    service = subprocess.Popen([programs / "tarn-serve", "--listen", target, "--page", "127.0.0.1:0", *OPTIONS],
                               stdout=subprocess.PIPE, text=True)
    try:
        service.stdout.readline()
        url = service.stdout.readline().split()[-1]
        send = [programs / "tarn-send", "--to", target]
        subprocess.run([*send, "--stream", "--async", "--keep-going", "--file", "-"], input=requests(), text=True,
                       stdout=subprocess.DEVNULL)
        late = subprocess.Popen([*send, "qos_group_port", "f0=7"], stdout=subprocess.DEVNULL)
        with Browser(shutil.which("chromium"), width=1120, height=700) as page:
            page.look(scheme)
            page.open(url)
            page.wait(CHOSEN + " !== undefined")
            page.wait("document.querySelector('tr.waiting') !== null")
            page.run(CHOSEN + ".click()")
            page.wait("document.querySelector('#chosen h2') !== null")
            image = base64.b64decode(page.picture())
        late.kill()
        late.wait()
        return image
    finally:
        service.kill()
        service.wait()


def main():
    if len(sys.argv) not in (3, 4):
        sys.exit("usage: page_picture.py BUILD_DIR OUTPUT [light|dark]")
    with tempfile.TemporaryDirectory() as folder:
        image = picture(pathlib.Path(sys.argv[1]) / "bin", folder, *sys.argv[3:] or ["light"])
    pathlib.Path(sys.argv[2]).write_bytes(image)


main()
