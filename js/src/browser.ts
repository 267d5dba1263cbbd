// SPDX-License-Identifier: Apache-2.0
/** What `import 'wvad'` gives: the functions, and the microphone, which in Node.js can be named but not opened. */
export * from './index.js';
export { Microphone } from './microphone.js';
export type { MicrophoneOptions } from './microphone.js';
