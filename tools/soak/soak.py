#!/usr/bin/python3
"""soak.py CALLS BIN: mixed calls to the platform of the current runtime directory. Exit code 1 when a program grew or ended."""
import os
import random
import subprocess
import sys
import tempfile

import grpc

CALLS = int(sys.argv[1])
BIN = sys.argv[2]
RUNTIME = os.path.join(os.environ["XDG_RUNTIME_DIR"], "tarn")
GROWTH_KIB = 24 * 1024  # allocators and caches; a leak of one small object per call is more
PROGRAMS = ["visualized-host", "ServiceHub", "tarn-services"]

generated = tempfile.TemporaryDirectory()
subprocess.run(["protoc", f"--proto_path={os.environ['TARN_PROTO']}", f"--python_out={generated.name}",
                "tarn/v1/value.proto", "tarn/v1/hub.proto", "tarn/v1/invoker.proto"], check=True)
sys.path.insert(0, generated.name)
from tarn.v1 import hub_pb2, invoker_pb2, value_pb2  # noqa: E402

HOSTILE = [None, True, -1, 2**31 - 1, "", "x" * 2000, "\u0000\u202e", "<table>" * 50, "%1%2%n", b"\xff\xfe", ["nested", ["list"]],
           {"键": "值"}, value_pb2.Rect(x=-2**31, y=2**31 - 1, width=-2**31, height=2**31 - 1)]
# Windows are not opened a million times: operations that only answer, and those whose windows replace each other or are refused.
METHODS = {
    "IVisualizedService": ["QueryYunLoginDialogState", "ShowNetLockLogin", "showUpgradeExplainDialog", "NotifyCloudParentFinish",
                           "showSilentPatchInstallDialog", "NoSuchMethod"],
    "IMessageService": ["GetUnreadCount", "ListMessages", "UpdateMessageStatus", "PushMessage"],
    "IUpgradeService": ["GetUpgradeStatus", "QueryTaskInfos", "StopUpgrade", "CheckNewVersion"],
    "ICloudService": ["GetCloudStatus", "ListCloudOutbox", "LockCloudAccount"],
}
KEYS = ["MsgId", "MsgTitle", "软件名称", "是否静默补丁安装状态获取", "软件标识", "MsgId_list", "user", "Locked", "无此键"]


def value(item):
    if item is None:
        return value_pb2.Value()
    if isinstance(item, value_pb2.Rect):
        return value_pb2.Value(rect_value=item)
    if isinstance(item, list):
        return value_pb2.Value(list_value=value_pb2.ValueList(items=[value(part) for part in item]))
    if isinstance(item, dict):
        return value_pb2.Value(map_value=value_pb2.ValueMap(values={key: value(part) for key, part in item.items()}))
    return value_pb2.Value(**{{bool: "bool_value", int: "int32_value", str: "string_value", bytes: "bytes_value"}[type(item)]: item})


def stub(endpoint, method, request, answer):
    return grpc.insecure_channel(endpoint).unary_unary(method, request.SerializeToString, answer.FromString)


def process_of(program):
    for pid in filter(str.isdigit, os.listdir("/proc")):
        try:
            if os.readlink(f"/proc/{pid}/exe") == os.path.join(BIN, program):
                return int(pid)
        except OSError:
            continue
    sys.exit(f"{program} does not run")


def state(pid):
    with open(f"/proc/{pid}/status", encoding="utf-8") as file:
        fields = dict(line.split(":", 1) for line in file)
    return {"KiB": int(fields["VmRSS"].split()[0]), "threads": int(fields["Threads"]),
            "descriptors": len(os.listdir(f"/proc/{pid}/fd"))}


pids = {program: process_of(program) for program in PROGRAMS}
resolve = stub(f"unix:{RUNTIME}/hub.sock", "/tarn.v1.Hub/Resolve", hub_pb2.ResolveRequest, value_pb2.ObjectRef)
targets = {tag: resolve(hub_pb2.ResolveRequest(tag=tag), timeout=5) for tag in METHODS}
invoke = {tag: stub(target.endpoint, "/tarn.v1.Invoker/Call", invoker_pb2.CallRequest, invoker_pb2.CallResponse)
          for tag, target in targets.items()}

random.seed(1)
answered = refused = 0
middle = {}
for count in range(CALLS):
    if count == CALLS // 2:
        middle = {program: state(pid) for program, pid in pids.items()}
    tag = random.choice(list(METHODS))
    bag = value_pb2.Bag(values={key: value(random.choice(HOSTILE)) for key in random.sample(KEYS, random.randrange(4))})
    method = random.choice(METHODS[tag])
    if method == "PushMessage" and random.random() > 0.02:
        method = "GetUnreadCount"  # stored for good: few of them
    try:
        invoke[tag](invoker_pb2.CallRequest(interface_name=tag, object=tag, method=method, input=bag), timeout=10)
        answered += 1
    except grpc.RpcError:
        refused += 1
print(f"{CALLS} calls: {answered} answered, {refused} refused with a status")
grown = False
for program, pid in pids.items():
    before, after = middle[program], state(pid)
    print(f"{program}: {before} -> {after}")
    grown |= process_of(program) != pid or after["KiB"] > before["KiB"] + GROWTH_KIB
    grown |= after["threads"] > before["threads"] + 4 or after["descriptors"] > before["descriptors"] + 8
sys.exit(1 if grown else 0)
