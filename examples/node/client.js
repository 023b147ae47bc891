// Calls the visualized service from Node: node client.js. Needs the packages of package.json and the .proto files
// (tarn-visualized-dev, or platform/rpc/proto in TARN_PROTO).
const path = require('path');
const grpc = require('@grpc/grpc-js');
const loader = require('@grpc/proto-loader');

const includes = [process.env.TARN_PROTO || '/usr/share/tarn/proto'];
const options = {keepCase: true, longs: String, includeDirs: includes};
const {tarn} = grpc.loadPackageDefinition(loader.loadSync(['tarn/v1/hub.proto', 'tarn/v1/invoker.proto'], options));
const runtime = path.join(process.env.XDG_RUNTIME_DIR, 'tarn');
const service = 'IVisualizedService';
const open = (Client, endpoint) => new Client(endpoint, grpc.credentials.createInsecure());

function value(item) {
  if (typeof item === 'boolean') return {bool_value: item};
  if (Number.isInteger(item)) return {int32_value: item};
  if (typeof item === 'object') return {map_value: {values: bag(item)}};
  return {string_value: String(item)};
}
function bag(values) {
  return Object.fromEntries(Object.entries(values).map(([key, item]) => [key, value(item)]));
}
function ask(client, method, request) {
  return new Promise((resolve, reject) =>
    client[method](request, {deadline: Date.now() + 5000}, (error, answer) => (error ? reject(error) : resolve(answer))));
}
async function call(method, values, records = []) {
  const target = await ask(open(tarn.v1.Hub, `unix:${runtime}/hub.sock`), 'Resolve', {tag: service});
  const answer = await ask(open(tarn.v1.Invoker, target.endpoint), 'Call', {
    interface_name: service, object: service, method, epoch: target.epoch,
    input: {values: bag(values), list: records.map(value)},
  });
  console.log(method, answer.accepted ? 'accepted' : `refused: ${answer.error}`, answer.code);
  return answer.accepted;
}

async function main() {
  const section = {软件名称: '示例软件', 升级版本: '2.0', CurrentVersion: '1.0', 发布日期: '2026-11-22 00:00:00'};
  const notice = {MsgId: 'node', MsgTitle: '示例', MsgContent: '来自 Node 的通知'};
  const shown = [await call('ShowNotifyMessage', notice),
    await call('showAutoCheckUpdateDialog', {}, [{软件名称: '示例软件', 软件: section}])];
  process.exit(shown.every(Boolean) ? 0 : 1);
}
main();
