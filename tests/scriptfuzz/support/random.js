// A stream of random choices that depends only on its seed.
'use strict';

class Random {
  #state;

  constructor(seed) {
    this.#state = seed >>> 0;
  }

  // A number from 0 up to but not including `limit`. (mulberry32)
  below(limit) {
    this.#state = (this.#state + 0x6d2b79f5) >>> 0;
    let mixed = this.#state;
    mixed = Math.imul(mixed ^ (mixed >>> 15), mixed | 1);
    mixed ^= mixed + Math.imul(mixed ^ (mixed >>> 7), mixed | 61);
    return ((mixed ^ (mixed >>> 14)) >>> 0) % limit;
  }

  chance(percent) {
    return this.below(1000) < percent * 10;
  }

  of(list) {
    return list[this.below(list.length)];
  }

  // One of [[weight, value] ...].
  weighted(choices) {
    let left = this.below(choices.reduce((sum, [weight]) => sum + weight, 0));
    for (const [weight, value] of choices) {
      left -= weight;
      if (left < 0) return value;
    }
    throw new Error('no choice');
  }
}

module.exports = { Random };
