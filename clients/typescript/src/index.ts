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
export { LargeInteger, type Bytes, type Value } from './value.js';
