"""The Debian packages that scripts/package makes of a build: what is in them,
and what dpkg is told. How they install is tested elsewhere."""

import collections
import os
import pathlib
import re
import subprocess
import tarfile

import pytest

_ROOT = pathlib.Path(__file__).resolve().parents[2]
NAMES = ["orvad", "orvad-simboard", "orvadctl"]

pytestmark = [pytest.mark.build("plain"), pytest.mark.xdist_group("packages")]

Package = collections.namedtuple("Package", "path control files scripts")
"""fields of the control file; path -> tarfile.TarInfo; script -> text"""


def run(*command, **options):
    return subprocess.run(command, check=True, text=True,
                          stdout=subprocess.PIPE, **options).stdout


def fields(path):
    """Of the control file."""
    return dict(line.split(": ", 1) for line in run(
        "dpkg-deb", "--field", path).splitlines() if not line[0].isspace())


def members(path, part):
    """Of the package's files or of dpkg's own: path -> (TarInfo, contents)."""
    with subprocess.Popen(["dpkg-deb", part, path],
                          stdout=subprocess.PIPE) as unpacked, \
            tarfile.open(fileobj=unpacked.stdout, mode="r|") as archive:
        return {info.name.removeprefix("."):
                (info, archive.extractfile(info).read()
                 if info.isfile() else b"") for info in archive}


def read_package(path):
    files = members(path, "--fsys-tarfile")
    scripts = members(path, "--ctrl-tarfile")
    return Package(path, fields(path),
                   {name: info for name, (info, _) in files.items()},
                   {name.lstrip("/"): text.decode()
                    for name, (info, text) in scripts.items()
                    if info.isfile()})


def make_packages(build, folder):
    """The lines that scripts/package ends with."""
    lines = run(_ROOT / "scripts/package", "--build", build,
                "--output", folder).splitlines()
    return lines[lines.index("==> The packages") + 1:]


@pytest.fixture(name="made", scope="module")
def fixture_made(pytestconfig, tmp_path_factory):
    """The packages of the build that is tested."""
    return [pathlib.Path(line) for line in make_packages(
        pathlib.Path(pytestconfig.getoption("build")).resolve(),
        tmp_path_factory.mktemp("packages"))]


@pytest.fixture(name="packages", scope="module")
def fixture_packages(made):
    """name -> Package"""
    packages = [read_package(path) for path in made]
    return {package.control["Package"]: package for package in packages}


def test_three_packages_are_made_and_named_as_they_end(made, packages):
    assert sorted(packages) == NAMES
    for name, package in packages.items():
        assert package.path.name == "{}_{}_{}.deb".format(
            name, package.control["Version"], package.control["Architecture"])
    assert sorted(made[0].parent.iterdir()) == sorted(made)


def test_version_is_the_program_s(packages):
    version = re.search(r"version: '([^']*)'",
                        (_ROOT / "meson.build").read_text("utf-8"))[1]
    assert {package.control["Version"] for package in packages.values()} == {
        version}


def documents(name):
    """What a package has that meson does not install."""
    folder = f"/usr/share/doc/{name}"
    lists = _ROOT / f"debian/{name}.docs"
    listed = [_ROOT / line for line in
              (lists.read_text().split() if lists.exists() else [])]
    return {f"{folder}/copyright", f"{folder}/changelog.gz",
            *(f"{folder}/{path.relative_to(top.parent)}"
              for top in listed
              for path in ([top] if top.is_file() else top.rglob("*"))
              if path.is_file()),
            *(f"/usr/share/lintian/overrides/{name}"
              for path in [_ROOT / f"debian/{name}.lintian-overrides"]
              if path.exists())}


def test_every_installed_file_is_in_one_package_and_nothing_else(
        packages, build, tmp_path):
    run("meson", "install", "-C", build, "--no-rebuild", "--quiet",
        "--destdir", tmp_path)
    installed = {f"/{path.relative_to(tmp_path)}"
                 for path in tmp_path.rglob("*") if not path.is_dir()}
    packed = collections.Counter(
        re.sub(r"(/man/.*)\.gz$", r"\1", path)
        for name, package in packages.items()
        for path, info in package.files.items()
        if not info.isdir() and path not in documents(name))
    assert packed == collections.Counter(installed)
    for name, package in packages.items():
        assert documents(name) <= set(package.files)


def test_every_page_is_in_one_package():
    listed = collections.Counter(
        path for name in NAMES for path in documents(name)
        if path.endswith((".md", ".svg")))
    assert collections.Counter(
        str(path.relative_to(_ROOT / "docs"))
        for path in (_ROOT / "docs").rglob("*") if path.is_file()
    ) + collections.Counter(["README.md"]) == collections.Counter(
        path.split("/", 5)[5] for path in listed.elements())


def test_links_of_installed_pages_lead_to_installed_files(packages):
    files = {path for package in packages.values() for path in package.files}
    links = [(page, link) for package in packages.values()
             for page, (_, text) in members(package.path,
                                            "--fsys-tarfile").items()
             if page.endswith(".md")
             for link in re.findall(r"\]\(([^):#]+)[)#]", text.decode())]
    assert links
    assert [(page, link) for page, link in links if os.path.normpath(
        pathlib.PurePath(page).parent / link) not in files] == []


@pytest.mark.parametrize("link, complaint", [
    ("there.md", None), ("there.md#part", None), ("#here", None),
    ("https://example.org/x.md", None),
    ("nowhere.md", "nowhere.md is not installed"),
    ("../meson.build", "../meson.build is not installed")])
def test_link_to_what_is_not_installed_is_complained_of(tmp_path, link,
                                                        complaint):
    for folder in ("debian", "docs", "b"):
        (tmp_path / folder).mkdir()
    (tmp_path / "meson.build").write_text("project('x')\n")
    run("meson", "setup", tmp_path / "b", tmp_path)
    (tmp_path / "docs/there.md").touch()
    (tmp_path / "docs/page.md").write_text(f"[a]({link})\n")
    (tmp_path / "debian/x.docs").write_text("docs/page.md\ndocs/there.md\n")
    placing = subprocess.run(
        [_ROOT / "scripts/package-documents.py", tmp_path, tmp_path / "b",
         tmp_path / "packed", "x"], stderr=subprocess.PIPE, text=True,
        check=False)
    page = tmp_path / "docs/page.md"
    assert placing.stderr == (
        f"package: {page}: {complaint}\n" if complaint else "")
    assert placing.returncode == (1 if complaint else 0)


@pytest.mark.parametrize("path, complaint", [
    ("/usr/lib/stray/stray",
     "/usr/lib/stray/stray belongs to no package: see debian/*.install"),
    ("/etc/orvad/stray", "debian/orvad.install: nothing is installed as "
     "/usr/lib/systemd/system/orvad.*")],
    ids=["file without a pattern", "pattern without a file"])
def test_list_that_does_not_fit_what_is_installed_is_complained_of(
        tmp_path, path, complaint):
    """A build that installs one file."""
    (tmp_path / "meson.build").write_text(
        "project('x')\ninstall_data('stray', install_dir: '"
        f"{pathlib.PurePath(path).parent}')\n")
    (tmp_path / "stray").touch()
    run("meson", "setup", tmp_path / "b", tmp_path)
    packing = subprocess.run(
        [_ROOT / "scripts/package", "--build", tmp_path / "b", "--output",
         tmp_path / "packages"], stdout=subprocess.DEVNULL,
        stderr=subprocess.PIPE, text=True, check=False)
    assert packing.returncode == 1
    assert packing.stderr == f"package: {complaint}\n"


@pytest.mark.parametrize("name", NAMES)
def test_files_are_root_s_and_only_programs_can_be_executed(packages, name):
    for path, info in packages[name].files.items():
        assert (info.uid, info.gid) == (0, 0), path
        program = re.fullmatch("/usr/s?bin/[^/]*", path)
        assert info.isdir() or info.isfile(), path
        assert info.mode == (0o755 if program or info.isdir() else 0o644), path


@pytest.mark.parametrize("name", NAMES)
def test_settings_in_etc_are_the_administrator_s(packages, name):
    package = packages[name]
    in_etc = {path for path, info in package.files.items()
              if path.startswith("/etc/") and info.isfile()}
    assert set(package.scripts.get("conffiles", "").split()) == in_etc


@pytest.mark.parametrize("name", NAMES)
def test_programs_are_stripped(made, name, tmp_path):
    path, = (path for path in made if path.name.startswith(f"{name}_"))
    run("dpkg-deb", "--extract", path, tmp_path)
    programs = [*tmp_path.glob("usr/*bin/*")]
    assert len(programs) == 1
    assert ".debug_info" not in run("readelf", "--section-headers", "--wide",
                                    programs[0])


@pytest.mark.parametrize("name, wanted", [
    ("orvad", {"default-dbus-system-bus | dbus-system-bus",
               "systemd | systemd-standalone-sysusers",
               "systemd | systemd-standalone-tmpfiles", "libgpiod2"}),
    ("orvad-simboard", {"libfuse3-3"}),
    ("orvadctl", set())])
def test_package_needs_what_it_runs_with(packages, name, wanted):
    needed = {re.sub(r" \(.*?\)", "", relation) for relation in
              packages[name].control["Depends"].split(", ")}
    assert {"libc6", "libglib2.0-0", "libstdc++6"} | wanted <= needed


def programs_in(script):
    """The first word of each command that is a program of the system's."""
    return set(re.findall(r"\b(systemd-\w+|deb-systemd-\w+|systemctl|udevadm)\b",
                          script))


@pytest.mark.parametrize("name, script, wanted", [
    ("orvad", "postinst", {"systemd-sysusers", "systemd-tmpfiles", "udevadm",
                           "deb-systemd-helper", "deb-systemd-invoke",
                           "systemctl"}),
    ("orvad", "prerm", {"deb-systemd-invoke"}),
    ("orvad", "postrm", {"deb-systemd-helper", "systemctl"}),
    ("orvad-simboard", "postinst", {"deb-systemd-helper", "systemctl"}),
    ("orvad-simboard", "prerm", {"deb-systemd-invoke", "systemctl"}),
    ("orvad-simboard", "postrm", {"deb-systemd-helper", "deb-systemd-invoke",
                                  "systemctl"})])
def test_maintainer_script_tells_whoever_has_to_know(packages, name, script,
                                                     wanted):
    assert programs_in(packages[name].scripts[script]) == wanted


def test_client_needs_no_maintainer_script(packages):
    assert set(packages["orvadctl"].scripts) == {"control", "md5sums"}


def unpacked(package, path):
    """The text of a file of the package's."""
    return members(package.path, "--fsys-tarfile")[path][1].decode()


def test_installed_board_is_the_sample_for_the_daemon_s_group(packages):
    sample = (_ROOT / "data/sample/board.conf").read_text().splitlines()
    board = unpacked(packages["orvad-simboard"],
                     "/usr/share/simboard/board.conf").splitlines()
    assert len(board) == len(sample)
    changed = [new for old, new in zip(sample, board) if old != new]
    assert [line for line in changed if not line.startswith("#")] == [
        "Group=qel"]


def test_service_serves_where_clients_look(packages, build):
    unit = unpacked(packages["orvad-simboard"],
                    "/usr/lib/systemd/system/simboard.service")
    usual = re.search(r"else\s(/run/\S*)\.", run(
        build / "tools/simboard/simboard", "--help"))[1]
    assert f"RuntimeDirectory={pathlib.PurePath(usual).parent.name}\n" in unit
    assert "--socket" not in unit


def test_scripts_are_clean():
    run("shellcheck", "--external-sources", "--source-path", _ROOT,
        _ROOT / "scripts/package",
        *sorted(_ROOT.glob("debian/*.p[or][er]*")))


def test_lintian_finds_no_fault(made):
    checked = subprocess.run(
        ["lintian", "--allow-root", "--fail-on", "error,warning",
         "--tag-display-limit", "0", *made], stdout=subprocess.PIPE, text=True,
        stderr=subprocess.STDOUT, check=False)
    assert (checked.returncode, checked.stdout) == (0, "")


def test_packages_are_the_same_each_time(made, build, tmp_path):
    again = [pathlib.Path(line) for line in make_packages(build, tmp_path)]
    assert [path.name for path in again] == [path.name for path in made]
    for first, second in zip(made, again):
        assert first.read_bytes() == second.read_bytes()


@pytest.mark.parametrize("arguments", [["--build"], ["--output"], ["x"],
                                       ["--help", "x"]])
def test_wrong_command_line_is_refused(arguments):
    packing = subprocess.run([_ROOT / "scripts/package", *arguments],
                             capture_output=True, text=True, check=False)
    assert packing.returncode == 2
    assert packing.stderr.startswith("Usage: scripts/package")


def test_missing_build_is_told_in_one_line(tmp_path):
    packing = subprocess.run(
        [_ROOT / "scripts/package", "--build", tmp_path / "none"],
        capture_output=True, text=True, check=False)
    assert (packing.returncode, packing.stdout, packing.stderr) == (
        1, "", f"package: there is no build in {tmp_path}/none\n")
