#!/usr/bin/python3
"""Calls the visualized service from Python: a notice, an update prompt and, with --sign-in, the cloud sign-in.

Needs python3-grpcio, python3-protobuf and protobuf-compiler, and the .proto files (tarn-visualized-dev, or the directory
platform/rpc/proto in TARN_PROTO)."""
import os
import secrets
import subprocess
import sys
import tempfile
from concurrent import futures

import grpc

PROTO = os.environ.get("TARN_PROTO", "/usr/share/tarn/proto")
RUNTIME = os.path.join(os.environ["XDG_RUNTIME_DIR"], "tarn")
SERVICE = "IVisualizedService"

generated = tempfile.TemporaryDirectory()
subprocess.run(["protoc", f"--proto_path={PROTO}", f"--python_out={generated.name}", "tarn/v1/value.proto",
                "tarn/v1/hub.proto", "tarn/v1/invoker.proto"], check=True)
sys.path.insert(0, generated.name)
from tarn.v1 import hub_pb2, invoker_pb2, value_pb2  # noqa: E402


def value(item):
    kinds = {bool: "bool_value", int: "int32_value", str: "string_value", value_pb2.ObjectRef: "object_value"}
    if isinstance(item, dict):
        return value_pb2.Value(map_value=value_pb2.ValueMap(values={key: value(part) for key, part in item.items()}))
    return value_pb2.Value(**{kinds[type(item)]: item})


def ask(endpoint, method, request, answer_type):
    method = grpc.insecure_channel(endpoint).unary_unary(method, request.__class__.SerializeToString, answer_type.FromString)
    return method(request, timeout=5)


def call(method, values, records=()):
    target = ask(f"unix:{RUNTIME}/hub.sock", "/tarn.v1.Hub/Resolve", hub_pb2.ResolveRequest(tag=SERVICE),
                 value_pb2.ObjectRef)
    bag = value_pb2.Bag(values={key: value(item) for key, item in values.items()}, list=[value(item) for item in records])
    answer = ask(target.endpoint, "/tarn.v1.Invoker/Call",
                 invoker_pb2.CallRequest(interface_name=SERVICE, object=SERVICE, method=method, epoch=target.epoch,
                                         input=bag), invoker_pb2.CallResponse)
    print(method, "accepted" if answer.accepted else f"refused: {answer.error}", answer.code, flush=True)
    return answer.accepted


def sign_in():
    """Serves an ICloudLoginNotify object: the service calls its method AfterLogin when the user has signed in."""
    called = futures.Future()

    def invoke(request, _context):
        called.set_result(request.method)
        return invoker_pb2.CallResponse(accepted=True)

    handler = grpc.unary_unary_rpc_method_handler(invoke, invoker_pb2.CallRequest.FromString,
                                                  invoker_pb2.CallResponse.SerializeToString)
    server = grpc.server(futures.ThreadPoolExecutor(1))
    server.add_generic_rpc_handlers([grpc.method_handlers_generic_handler("tarn.v1.Invoker", {"Call": handler})])
    endpoint = f"unix:{RUNTIME}/example-{os.getpid()}.sock"
    server.add_insecure_port(endpoint)
    server.start()
    notify = value_pb2.ObjectRef(interface_name="ICloudLoginNotify", tag=secrets.token_hex(16), endpoint=endpoint,
                                 epoch=secrets.randbits(63) | 1)
    if call("ShowCloudLogin", {"$notify": notify}):
        print("called back:", called.result(timeout=600))


section = {"软件名称": "示例软件", "升级版本": "2.0", "CurrentVersion": "1.0", "发布日期": "2026-11-22 00:00:00"}
shown = [call("ShowNotifyMessage", {"MsgId": "python", "MsgTitle": "示例", "MsgContent": "来自 Python 的通知"}),
         call("showAutoCheckUpdateDialog", {}, [{"软件名称": "示例软件", "软件": section}])]
if "--sign-in" in sys.argv:
    sign_in()
sys.exit(0 if all(shown) else 1)
