// SPDX-License-Identifier: Apache-2.0
/** What a page imports: the functions, and the microphone. */
export * from './index.js';
export { Microphone } from './microphone.js';
export type { MicrophoneOptions } from './microphone.js';
