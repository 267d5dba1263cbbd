// SPDX-License-Identifier: Apache-2.0
/** What a page imports. */
export * from './index.js';
