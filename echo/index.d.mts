import echo from './index.js';

export * from './index.js';
export default echo;
