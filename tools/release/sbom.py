#!/usr/bin/env python3
"""Writes the bill of materials of Debian packages as SPDX 2.3 JSON: sbom.py PACKAGE.deb ... > zenta.spdx.json

It lists each package with its checksum, the packages that it depends on with the versions installed here, and what is compiled
into it without being a dependency. Run it on the machine that built the packages. SOURCE_DATE_EPOCH, if set, is the time of
creation that it states.
"""
import datetime
import hashlib
import json
import os
import pathlib
import re
import subprocess
import sys
import urllib.parse

# Header-only and statically linked libraries of each package, as Debian's development packages.
COMPILED_IN = {"zenta-tools": ["libcli11-dev"]}


def output(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def spdx_id(name):
    return "SPDXRef-" + re.sub(r"[^A-Za-z0-9.-]", "-", name)


def package(name, version, **more):
    return {"SPDXID": spdx_id(name), "name": name, "versionInfo": version, "downloadLocation": "NOASSERTION",
            "filesAnalyzed": False, "licenseConcluded": "NOASSERTION", "licenseDeclared": "NOASSERTION",
            "copyrightText": "NOASSERTION", **more}


def debian_package(name):
    """The entry of a package that is installed here."""
    version, architecture = output("dpkg-query", "-W", "-f=${Version} ${Architecture}\n", name).splitlines()[0].split()
    distribution = re.search(r"^ID=\"?(\w+)", pathlib.Path("/etc/os-release").read_text(), re.M)[1]
    purl = f"pkg:deb/{distribution}/{urllib.parse.quote(name)}@{urllib.parse.quote(version, safe=':')}?arch={architecture}"
    return package(name, version, externalRefs=[
        {"referenceCategory": "PACKAGE-MANAGER", "referenceType": "purl", "referenceLocator": purl}])


def names(depends):
    """The package names of a Depends field; of alternatives the first: "libc6 (>= 2.36), a | b" gives libc6 and a."""
    return [re.match(r"[a-z0-9.+-]+", part.strip())[0] for part in depends.split(",") if part.strip()]


def main(paths):
    packages, relations, digests = {}, [], hashlib.sha256()

    def relate(first, kind, second):
        relations.append({"spdxElementId": spdx_id(first), "relationshipType": kind, "relatedSpdxElement": spdx_id(second)})

    for path in map(pathlib.Path, paths):
        name, version, depends = (output("dpkg-deb", "-f", str(path), field).strip() for field in ("Package", "Version", "Depends"))
        digest = hashlib.sha256(path.read_bytes()).hexdigest()
        digests.update(digest.encode())
        packages[name] = package(name, version, packageFileName=path.name, licenseDeclared="MIT", licenseConcluded="MIT",
                                 supplier="Organization: the Zenta authors",
                                 checksums=[{"algorithm": "SHA256", "checksumValue": digest}])
        relate("DOCUMENT", "DESCRIBES", name)
        for kind, others in ("DEPENDS_ON", names(depends)), ("STATIC_LINK", COMPILED_IN.get(name, [])):
            for other in others:
                packages.setdefault(other, debian_package(other))
                relate(name, kind, other)

    time = int(os.environ.get("SOURCE_DATE_EPOCH") or datetime.datetime.now().timestamp())
    json.dump({
        "spdxVersion": "SPDX-2.3", "dataLicense": "CC0-1.0", "SPDXID": "SPDXRef-DOCUMENT", "name": "zenta",
        "documentNamespace": f"https://zenta.example/spdx/{digests.hexdigest()}",
        "creationInfo": {"created": datetime.datetime.fromtimestamp(time, datetime.timezone.utc).strftime("%Y-%m-%dT%H:%M:%SZ"),
                         "creators": ["Tool: tools/release/sbom.py"]},
        "packages": list(packages.values()), "relationships": relations}, sys.stdout, indent=1)
    print()


if __name__ == "__main__":
    if len(sys.argv) < 2:
        sys.exit(__doc__)
    main(sys.argv[1:])
