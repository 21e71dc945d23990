"""Generates the installer's components: the files, and the registry entries that DllRegisterServer writes.

Those of the classes are read from its registry scripts, those of the type library from the contract.
"""
import re
import uuid
from xml.sax.saxutils import quoteattr

# Component GUIDs are derived from this one and a name, so that a file keeps its component in all versions.
NAMESPACE = uuid.UUID('9ACCBD8B-A8A6-42B0-A4B2-F4AADC964B66')
DLL = 'nuvolex.dll'
# The system's proxy for interfaces described by a type library.
AUTOMATION_PROXY = '{00020424-0000-0000-C000-000000000046}'
# As a value name: the key is created, and removed with everything in it.
WHOLE_KEY = '*'


def component_guid(name):
    return str(uuid.uuid5(NAMESPACE, name.lower())).upper()


def identifier(prefix, name):
    """A row name of the installer's tables: only letters, digits, underscores and dots."""
    return prefix + re.sub(r'[^A-Za-z0-9_.]', '_', name)


def file_id(relative):
    return identifier('', relative)


def read_script(text, module):
    """The entries (key, name, value) of a registry script in the form of module/*.rgs.in. %MODULE% becomes `module`."""
    entries = []
    path = []
    key = None
    for line in filter(None, map(str.strip, text.splitlines())):
        value = re.fullmatch(r"val (\S+) = s '(.*)'", line)
        named = re.fullmatch(r"(?:NoRemove |ForceRemove )?'?([^\s']+)'?(?: = s '(.*)')?", line)
        if line == '{':
            path.append(key)
        elif line == '}':
            path.pop()
        elif value:
            entries.append(('\\'.join(path[1:]), value[1], value[2]))
        elif named:
            key = named[1]
            if named[2] is not None:
                entries.append(('\\'.join([*path, key][1:]), '', named[2].replace('%MODULE%', module)))
            elif line.startswith('ForceRemove'):
                entries.append(('\\'.join([*path, key][1:]), WHOLE_KEY, ''))
        else:
            raise ValueError(f'cannot parse this line of a registry script: {line}')
    return entries


class Contract:
    """The library and the interfaces of the contract."""

    def __init__(self, path):
        text = path.read_text(encoding='utf-8')
        blocks = re.findall(r'uuid\(([-0-9A-F]+)\)([^]]*)\]\s*(library|interface) (\w+)', text)
        self.interfaces = {name: f'{{{guid}}}' for guid, _, kind, name in blocks if kind == 'interface'}
        (guid, attributes), = [block[:2] for block in blocks if block[2] == 'library']
        self.library = f'{{{guid}}}'
        self.version = re.search(r'version\(([\d.]+)\)', attributes)[1]
        self.lcid = f"{int(re.search(r'lcid[(](0x[0-9A-Fa-f]+)[)]', attributes)[1], 16):x}"
        self.title = re.search(r'helpstring\("(.*)"\)', attributes)[1]

    def library_entries(self, module, folder):
        """What RegisterTypeLib writes for the library."""
        key = f'TypeLib\\{self.library}\\{self.version}'
        return [(key, '', self.title), (f'{key}\\FLAGS', '', '0'), (f'{key}\\{self.lcid}\\win64', '', module),
                (f'{key}\\HELPDIR', '', folder)]

    def interface_entries(self):
        """What RegisterTypeLib writes for the interfaces, in the 64-bit and the 32-bit view of the registry."""
        return [entry for name, iid in self.interfaces.items() for entry in (
            (f'Interface\\{iid}', '', name),
            (f'Interface\\{iid}\\ProxyStubClsid', '', AUTOMATION_PROXY),
            (f'Interface\\{iid}\\ProxyStubClsid32', '', AUTOMATION_PROXY),
            (f'Interface\\{iid}\\TypeLib', '', self.library),
            (f'Interface\\{iid}\\TypeLib', 'Version', self.version))]


def surrogate_entries(class_entries, appid):
    """The entries with which the system loads the DLL into a surrogate process. Only in the 64-bit view, so that the
    system starts the 64-bit surrogate."""
    classes = [(key, 'AppID', appid) for key, name, _ in class_entries
               if re.fullmatch(r'CLSID\\\{[^\\]*\}', key) and not name]
    return [(f'AppID\\{appid}', '', 'Nuvolex'), (f'AppID\\{appid}', 'DllSurrogate', ''), *classes]


def registry_values(entries):
    for key, name, value in entries:
        full_key = quoteattr('Software\\Classes\\' + key)
        named = f' Name={quoteattr(name)}' if name else ''
        yield f'<RegistryValue Root="HKLM" Key={full_key}{named} Type="string" Value={quoteattr(value)}/>'


class Fragment:
    """A WiX fragment with two component groups, Files and Surrogate."""

    def __init__(self):
        self.lines = []
        self.groups = {'Files': [], 'Surrogate': []}

    def add_component(self, group, name, guid_name, content, win64='yes'):
        self.groups[group].append(name)
        self.lines += [f'<Component Id="{name}" Guid="{component_guid(guid_name)}" Win64="{win64}">', *content,
                       '</Component>']

    def add_folder(self, folder, root, dll_entries):
        """A component for each file, in its folder below `root`. The DLL's has the registry entries too."""
        for path in sorted(folder.iterdir()):
            relative = path.relative_to(root).as_posix()
            if path.is_dir():
                self.lines.append(f'<Directory Id="{identifier("dir_", relative)}" Name={quoteattr(path.name)}>')
                self.add_folder(path, root, dll_entries)
                self.lines.append('</Directory>')
            else:
                file = (f'<File Id="{file_id(relative)}" Name={quoteattr(path.name)} Source={quoteattr(relative)} '
                        'KeyPath="yes"/>')
                entries = registry_values(dll_entries) if relative == DLL else []
                self.add_component('Files', identifier('c_', relative), relative, [file, *entries])

    def text(self):
        groups = []
        for group, components in self.groups.items():
            groups += [f'<ComponentGroup Id="{group}">', *(f'<ComponentRef Id="{name}"/>' for name in components),
                       '</ComponentGroup>']
        return '\n'.join(['<?xml version="1.0" encoding="utf-8"?>',
                          '<Wix xmlns="http://schemas.microsoft.com/wix/2006/wi"><Fragment>',
                          '<DirectoryRef Id="INSTALLDIR">', *self.lines, '</DirectoryRef>', *groups,
                          '</Fragment></Wix>', ''])


def make_fragment(stage, idl, scripts, appid):
    """The fragment for the files below `stage`, with paths relative to it.

    `idl` is the contract, `scripts` the registry scripts, `appid` the AppID of the surrogate process.
    """
    contract = Contract(idl)
    module = f'[#{file_id(DLL)}]'
    classes = [entry for script in scripts for entry in read_script(script.read_text(encoding='utf-8'), module)]
    library = contract.library_entries(module, '[INSTALLDIR]')
    interfaces = contract.interface_entries()
    surrogate = surrogate_entries(classes, appid)

    fragment = Fragment()
    fragment.add_folder(stage, stage, classes + library + interfaces)
    # Components without a file. The one that is not Win64 writes to the 32-bit view.
    fragment.add_component('Files', 'interfaces_32', 'interfaces, 32-bit', registry_values(interfaces), 'no')
    fragment.add_component('Surrogate', 'surrogate', 'surrogate', registry_values(surrogate))
    return fragment.text()
