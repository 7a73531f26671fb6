export * from './arguments.js';
export { callMethod } from './call_method.js';
export type { Changes } from './change_queue.js';
export {
  decodeEnvelope,
  decodeMessage,
  decodeMethodCall,
  encodeErrorEnvelope,
  encodeMessage,
  encodeMethodCall,
  encodeSuccessEnvelope,
  type Envelope,
  type ErrorReply,
  type MethodCall,
} from './codec.js';
export * from './errors.js';
export { Library } from './library.js';
export {
  MediaType,
  type Asset,
  type AssetCount,
  type Change,
  type ExportedFile,
  type Gallery,
  type GalleryAssetCount,
} from './records.js';
export type { Transport, TransportListener } from './transport.js';
export { LargeInteger, type Bytes, type Value } from './value.js';
export {
  WebSocketTransport,
  type Socket,
  type WebSocketTransportOptions,
} from './web_socket_transport.js';
