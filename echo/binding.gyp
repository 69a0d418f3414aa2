{
  'targets': [
    {
      'target_name': 'echo',
      'sources': ['zax-echo-worker.cpp'],
      'dependencies': ['<!(node -p "require(\'zaxbase\').targets")'],
    },
  ],
}
